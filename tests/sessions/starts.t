A daemon is started, killed, and kept from being started where another is.

  $ . "$TESTDIR/setup.sh"
  $ start
  $ cfgctl set management.snmp.location=Lobby
  set management.snmp.location  "" -> Lobby  accepted, revision 1

One that is killed has lost nothing, and another takes its place.

  $ stop
  $ cfgctl ping
  ! cfgctl: no service at run/appconfig.sock: Connection refused; is appconfig running?
  [3]
  $ start
  $ cfgctl get management.snmp.location
  Lobby

Nobody can start a second one, on the same state or on the same socket; the first goes on.

  $ RUNTIME_DIRECTORY=$PWD/elsewhere TEST_LOG_DEVICE= "$APPCONFIG" >second 2>&1 &
  $ STATE_DIRECTORY=$PWD/other TEST_LOG_DEVICE= "$APPCONFIG" >third 2>&1
  $ wait $!
  $ grep -ho "[a-z]* is in use by process $daemon; exiting$" second third | alike
  state is in use by process P; exiting
  run is in use by process P; exiting
  $ ls -d elsewhere
  ls: cannot access 'elsewhere': No such file or directory
  [2]
  $ cfgctl get management.snmp.location
  Lobby

It opens the directory that it makes to everybody's client, and keeps both locks in one directory
when that is all it has.

  $ stop
  $ umask 077
  $ rm -r run && start
  $ stat -c '%a %n' run run/appconfig.sock
  755 run
  666 run/appconfig.sock
  $ stop
  $ RUNTIME_DIRECTORY=$STATE_DIRECTORY
  $ APPCONFIG_SOCKET=state/appconfig.sock
  $ start
  $ for lock in state/appconfig.lock state/appconfig.sock.lock; do
  >   grep -c ":$(stat -c %i "$lock") 0 EOF" /proc/locks
  > done
  1
  1

Core files are written only with the switch.

  $ ulimit -S -c 0
  $ for switch in -x --CoreDump --coredump=no --coredump=yes -coredump --core; do
  >   stop
  >   start "$switch"
  >   echo "$switch $(grep -o 'core file size *[^ ]*' "/proc/$daemon/limits")"
  > done
  -x core file size        0
  --CoreDump core file size        unlimited
  --coredump=no core file size        0
  --coredump=yes core file size        0
  -coredump core file size        0
  --core core file size        0

No file of its own has the number of a standard stream, whichever of them are closed.

  $ for closed in '' '<&-' '>&-' '<&- >&-' '2>&-' '<&- 2>&-' '>&- 2>&-' '<&- >&- 2>&-'; do
  >   stop
  >   eval "TEST_LOG_DEVICE= exec setpriv --pdeathsig KILL \"\$APPCONFIG\" \
  >       </dev/null >/dev/null 2>/dev/null $closed" &
  >   daemon=$!
  >   serves
  >   echo $(readlink "/proc/$daemon/fd/0" "/proc/$daemon/fd/1" "/proc/$daemon/fd/2") "$closed"
  > done
  /dev/null /dev/null /dev/null 
  /dev/null /dev/null /dev/null <&-
  /dev/null /dev/null /dev/null >&-
  /dev/null /dev/null /dev/null <&- >&-
  /dev/null /dev/null /dev/null 2>&-
  /dev/null /dev/null /dev/null <&- 2>&-
  /dev/null /dev/null /dev/null >&- 2>&-
  /dev/null /dev/null /dev/null <&- >&- 2>&-
