What a change brought about, when asked for, and what brought it about.

  $ . "$TESTDIR/setup.sh"
  $ start
  $ cfgctl set management.snmp.versionthree=false
  set management.snmp.versionthree  true -> false  accepted, revision 1
  because management.snmp.versionthree was set (onSet)
    management.snmp.traptarget.protocolversion[0..2]  options  -v3
    management.snmp.{authenticationpassword,engineid,id,privacypassword,authenticationalgorithm,privacyalgorithm}  access  editable -> hidden
  $ cfgctl set management.snmp.location= management.snmp.listeningport=8161
  set management.snmp.location=  accepted, unchanged
  set management.snmp.listeningport  161 -> 8161  accepted, revision 2
  $ cfgctl set management.snmp.location=Lobby
  set management.snmp.location  "" -> Lobby  accepted, revision 3
  $ cfgctl history
  revision 1  TIME  uid 0 (root), process P (cfgctl), role admin
    set management.snmp.versionthree  true -> false
    because management.snmp.versionthree was set (onSet)
      management.snmp.traptarget.protocolversion[0..2]  options  -v3
  revision 2  TIME  uid 0 (root), process P (cfgctl), role admin
    set management.snmp.location=  unchanged
    set management.snmp.listeningport  161 -> 8161
  revision 3  TIME  uid 0 (root), process P (cfgctl), role admin
    set management.snmp.location  "" -> Lobby
  $ cfgctl history -n 1
  revision 3  TIME  uid 0 (root), process P (cfgctl), role admin
    set management.snmp.location  "" -> Lobby
  $ cfgctl history 'management.snmp.*version*'
  revision 1  TIME  uid 0 (root), process P (cfgctl), role admin
    set management.snmp.versionthree  true -> false
    because management.snmp.versionthree was set (onSet)
      management.snmp.traptarget.protocolversion[0..2]  options  -v3
  $ cfgctl why management.snmp.location
  value  Lobby
    since revision 3, TIME
    set by uid 0 (root), process P (cfgctl), role admin
  access  editable
    as the schema has it
  $ cfgctl why management.snmp.versionthree
  value  false
    since revision 1, TIME
    set by uid 0 (root), process P (cfgctl), role admin
  access  editable
    as the schema has it
  $ cfgctl why management.snmp.traptarget.protocolversion
  value  v2c
    as the schema has it
  options  v1 v2c
    not offered now: v3
    since revision 1, TIME
    because management.snmp.versionthree was set to false (onSet)
    by uid 0 (root), process P (cfgctl), role admin
  access  editable
    as the schema has it
  $ cfgctl --role system why management.snmp.engineid
  value  ""
    as the schema has it
  access  hidden
    since revision 1, TIME
    because management.snmp.versionthree was set to false (onSet)
    by uid 0 (root), process P (cfgctl), role admin
  $ cfgctl why management.snmp.enabled
  value  true
    as the schema has it
  access  editable
    as the schema has it

What follows from what followed is told step by step.

  $ cfgctl set uicontrol.vantortouch.homescreen[1].enabled=false
  set uicontrol.vantortouch.homescreen[1].enabled  true -> false  accepted, revision 4
  because uicontrol.vantortouch.homescreen[1].enabled was set (change)
    uicontrol.vantortouch.homescreen[2].enabled  value  true -> false
  because uicontrol.vantortouch.homescreen[2].enabled became false (change)
    uicontrol.vantortouch.homescreen[3].enabled  value  true -> false
  because uicontrol.vantortouch.homescreen[3].enabled became false (change)
    uicontrol.vantortouch.homescreen[4].enabled  value  true -> false
  $ cfgctl why uicontrol.vantortouch.homescreen[2].enabled
  value  false
    since revision 4, TIME
    because uicontrol.vantortouch.homescreen[1].enabled was set to false (change)
    by uid 0 (root), process P (cfgctl), role admin
  access  editable
    as the schema has it
  $ cfgctl --role system set comm.callsetting.callfeatures.fips140enable=true
  set comm.callsetting.callfeatures.fips140enable  false -> true  accepted, revision 5
  because comm.callsetting.callfeatures.fips140enable was set (onSet)
    management.snmp.authenticationalgorithm  value  MD5 -> SHA
    management.snmp.privacyalgorithm  value  CBC-DES -> CFB-AES128
  $ cfgctl why management.snmp.privacyalgorithm
  ! cfgctl: unknown variable management.snmp.privacyalgorithm (or not visible to this role); see 'cfgctl list'
  [1]
  $ cfgctl --role system why management.snmp.privacyalgorithm
  value  CFB-AES128
    since revision 5, TIME
    because comm.callsetting.callfeatures.fips140enable was set to true (onSet)
    by uid 0 (root), process P (cfgctl), role system
  options  CBC-DES CFB-AES128
    as the schema has it
  access  hidden
    since revision 1, TIME
    because management.snmp.versionthree was set to false (onSet)
    by uid 0 (root), process P (cfgctl), role admin
