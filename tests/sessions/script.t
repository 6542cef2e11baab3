What a script is told of what happened: statuses, devices that are full, a service that hangs.

  $ . "$TESTDIR/setup.sh"
  $ start
  $ cfgctl history
  ! cfgctl: history holds no change of * for this role
  $ cfgctl set management.snmp.location=Lobby >/dev/full
  ! cfgctl: cannot write to standard output: No space left on device
  [5]
  $ cfgctl --json get no.such >/dev/full
  ! cfgctl: unknown variable no.such (or not visible to this role); see 'cfgctl list'
  ! cfgctl: cannot write to standard output: No space left on device
  [1]
  $ APPCONFIG_SOCKET=elsewhere cfgctl ping --socket "$APPCONFIG_SOCKET" >/dev/null

A watch begins before it tells, and tells what is changed from then on.

  $ mkfifo news
  $ "$CFGCTL" --json watch >news &
  $ exec 3<>news
  $ head -n 1 <&3
  {"id":"1","code":"kNoError","tag":[],"watch":{"revision":"1","change":[]}}
  $ cfgctl set management.snmp.location=Hall
  set management.snmp.location=Hall  accepted  kNoError (0)
  $ head -n 1 <&3 | grep -o '"value":"[^"]*"'
  "value":"Hall"
  $ kill $!

An answer that does not come leaves open what has happened.

  $ kill -STOP "$daemon"
  $ cfgctl --timeout 0.05 set management.snmp.location=Attic
  ! cfgctl: outcome unknown: no answer from run/appconfig.sock within 0.05 s; 'cfgctl history -n 1' and 'cfgctl get' show whether the change was made
  [4]
  $ cfgctl --timeout 0.05 get management.snmp.location
  ! cfgctl: no answer from run/appconfig.sock within 0.05 s
  [4]
