What a script is told of what happened: statuses, devices that are full, a service that hangs.

  $ . "$TESTDIR/setup.sh"
  $ start
  $ cfgctl history
  ! cfgctl: history holds no change of * for this role
  $ "$CFGCTL" set management.snmp.location=Lobby >/dev/full
  cfgctl: cannot write to standard output: No space left on device
  [5]
  $ "$CFGCTL" --json get no.such >/dev/full
  cfgctl: unknown variable no.such (or not visible to this role); see 'cfgctl list'
  cfgctl: cannot write to standard output: No space left on device
  [1]
  $ APPCONFIG_SOCKET=elsewhere cfgctl ping --socket "$APPCONFIG_SOCKET" >/dev/null

A watch begins before it tells, and tells what is changed from then on.

  $ : >news
  $ "$CFGCTL" --json watch >news 2>began &
  $ lines() { until [ "$(wc -l <"$1")" -ge "$2" ]; do sleep 0.01; done; }
  $ lines news 1
  $ cat began
  $ cfgctl set management.snmp.location=Hall
  set management.snmp.location  Lobby -> Hall  accepted, revision 2
  $ lines news 2
  $ tail -n 1 news | grep -o '"value":"[^"]*"'
  "value":"Hall"
  $ kill $!
  $ timeout 0.2 "$CFGCTL" watch nothing
  cfgctl: no variable matches nothing for this role
  watching nothing until interrupted
  [124]

What a resumed watch begins with takes several pages, and tells each change once.

  $ long() { printf ' management.snmp.location=%0200d' $(seq "$1" "$(($1 + 99))"); }
  $ for first in $(seq 1000 100 1900); do cfgctl set -q $(long "$first"); done
  $ : >old
  $ "$CFGCTL" watch --since 2 >old 2>/dev/null &
  $ until [ "$(grep -c ^revision old)" -ge 10 ]; do sleep 0.01; done
  $ kill $!
  $ grep -o '^revision [0-9]*' old | tr '\n' ' '
  revision 3 revision 4 revision 5 revision 6 revision 7 revision 8 revision 9 revision 10 revision 11 revision 12  (no-eol)

An answer that does not come leaves open what has happened.

  $ kill -STOP "$daemon"
  $ cfgctl --timeout 0.05 set management.snmp.location=Attic
  ! cfgctl: outcome unknown: no answer from run/appconfig.sock within 0.05 s; 'cfgctl history -n 1' and 'cfgctl get' show whether the change was made
  [4]
  $ cfgctl --timeout 0.05 get management.snmp.location
  ! cfgctl: no answer from run/appconfig.sock within 0.05 s
  [4]
