What the last word may become.

  $ . "$TESTDIR/setup.sh"
  $ cfgctl complete -- get management.snmp.p
  $ start
  $ cfgctl complete -- s
  set
  status
  shutdown
  $ cfgctl complete -- set --d
  --dry-run
  $ cfgctl complete -- --v
  --version
  $ cfgctl complete -- watch --since ''
  $ cfgctl complete -- history -n 5 management.snmp.e
  management.snmp.enabled
  management.snmp.engineid
  $ cfgctl complete -- --role p
  provisioning
  $ cfgctl complete -- --socket ''
  $ cfgctl complete -- --socket elsewhere get management.snmp.e
  $ cfgctl complete -- describe --role user management.snmp.e
  management.snmp.enabled
  management.snmp.engineid
  $ cfgctl complete -- get management.snmp.location management.snmp.e
  management.snmp.enabled
  management.snmp.engineid
  $ cfgctl complete -- describe management.snmp.location ''
  $ cfgctl complete -- set management.snmp.enabled=true management.snmp.e
  management.snmp.enabled=
  management.snmp.engineid=
  $ cfgctl complete -- set management.snmp.versionthree=
  management.snmp.versionthree=true
  management.snmp.versionthree=false
  $ cfgctl complete -- set management.snmp.listeningport=
  $ cfgctl complete -- set management.snmp.traptarget.protocolversion[1]=v
  management.snmp.traptarget.protocolversion[1]=v1
  management.snmp.traptarget.protocolversion[1]=v2c
  management.snmp.traptarget.protocolversion[1]=v3
  $ cfgctl complete -- completion ''
  bash
  $ cfgctl completion bash | bash -n

Only what is accepted now.

  $ cfgctl set management.snmp.versionthree=false >/dev/null
  $ cfgctl complete -- set management.snmp.traptarget.protocolversion[1]=v
  management.snmp.traptarget.protocolversion[1]=v1
  management.snmp.traptarget.protocolversion[1]=v2c
  $ cfgctl options management.snmp.traptarget.protocolversion[1]
  v1
  v2c
  v3  (not accepted now: kBadParameter (-3) ERR_NOT_OFFERED)
