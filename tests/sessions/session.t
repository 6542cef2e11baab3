An ordinary session, from a service that is not there to its end.

  $ . "$TESTDIR/setup.sh"
  $ cfgctl ping
  ! cfgctl: no service at run/appconfig.sock: No such file or directory; is appconfig running?
  [3]
  $ start
  $ cfgctl ping
  AppConfig 0.1.0, process P

Settings are read in either spelling, and described.

  $ cfgctl get management.snmp.listeningport
  161
  $ cfgctl get management.snmp.enabled Security.RemoteAccess.Web.HTTPPort
  management.snmp.enabled = true
  security.remoteaccess.web.httpport = 80
  $ cfgctl --json get management.snmp.enabled
  {
   "id": "1",
   "code": "kNoError",
   "tag": [],
   "get": {
    "variable": [
     {
      "name": "management.snmp.enabled",
      "value": "true",
      "kind": "BOOLEAN",
      "offered": [],
      "minimum": 0,
      "maximum": 0,
      "max_length": 0,
      "read": "kUser",
      "write": "kUser"
     }
    ]
   },
   "sentence": []
  }
  $ cfgctl describe management.snmp.transportprotocol
  name  management.snmp.transportprotocol
  summary  Transport protocol of SNMP.
  kind  enumeration
  default  UDP
  value  UDP
  offered  UDP TCP
  not offered  (none)
  access  editable
  provider  (none)
  consumers  (none)
  $ cfgctl describe management.snmp.listeningport
  name  management.snmp.listeningport
  summary  Port on which SNMP listens: 161, or one from 1024 on that no other service uses.
  kind  integer 1..65535
  default  161
  value  161
  access  editable
  provider  SNMPConfigHandler
  consumers  (none)
  $ cfgctl list '*.snmp.*v*'
  VARIABLE  VALUE  OFFERS  ACCESS
  management.snmp.versionone  true  true false  editable
  management.snmp.versiontwo  true  true false  editable
  management.snmp.versionthree  true  true false  editable
  management.snmp.privacypassword    secret up to 64 bytes  editable
  management.snmp.privacyalgorithm  CBC-DES  CBC-DES CFB-AES128  editable
  management.snmp.traptarget.protocolversion  v2c  v1 v2c v3  editable
  management.snmp.traptarget.protocolversion[1]  v2c  v1 v2c v3  editable
  management.snmp.traptarget.protocolversion[2]  v2c  v1 v2c v3  editable

A change is made as a whole or not at all.

  $ cfgctl set security.remoteaccess.web.httpport=9000 management.snmp.listeningport=9000
  ! refused  management.snmp.listeningport=9000
  !   ERR_SNMP_INVALID_PORT  161, a trap target 162, or a port from 1024 on that no other service uses
  !   now  161
  !   read  security.remoteaccess.web.httpport = 9000
  !   read  management.snmp.enabled = true
  !   read  management.snmp.versionone = true
  !   read  management.snmp.versiontwo = true
  !   read  management.snmp.versionthree = true
  ! nothing has been changed
  [1]
  $ cfgctl get security.remoteaccess.web.httpport
  80
  $ grep -c 'appconfig: listening port 9000 is NOT allowed $' log
  1
  $ cfgctl set management.snmp.traptarget.targetport[2]=9162 Management.SNMP.ListeningPort=8161
  set management.snmp.traptarget.targetport[2]  162 -> 9162  accepted, revision 1
  set management.snmp.listeningport  161 -> 8161  accepted, revision 1
  $ cfgctl set --dry-run management.snmp.listeningport=162
  ! refused  management.snmp.listeningport=162
  !   ERR_SNMP_INVALID_PORT  161, a trap target 162, or a port from 1024 on that no other service uses
  !   now  8161
  !   read  management.snmp.enabled = true
  !   read  management.snmp.versionone = true
  !   read  management.snmp.versiontwo = true
  !   read  management.snmp.versionthree = true
  ! nothing has been changed
  [1]
  $ cfgctl get management.snmp.listeningport management.snmp.traptarget.targetport[2]
  management.snmp.listeningport = 8161
  management.snmp.traptarget.targetport[2] = 9162

Values are taken as they are, and shown so that nothing in them deceives.

  $ cfgctl set 'management.snmp.location=a\x0a'
  set management.snmp.location  "" -> a\\x0a  accepted, revision 2
  $ cfgctl get management.snmp.location
  a\x0a
  $ cfgctl set 'management.snmp.location="q" {1} x=y'
  set management.snmp.location  a\\x0a -> "q" {1} x=y  accepted, revision 3
  $ cfgctl get management.snmp.location
  "q" {1} x=y
  $ cfgctl set 'management.snmp.enabled=a\b'
  ! refused  management.snmp.enabled=a\\b
  !   ERR_INVALID_VALUE  not a value of the variable's kind
  !   accepts  true false
  !   now  true
  ! nothing has been changed
  [1]

A secret comes from standard input and is masked.

  $ echo 'given on stdin' >secret
  $ cfgctl set management.snmp.privacypassword=- <secret
  set management.snmp.privacypassword  "" -> ********  accepted, revision 4
  $ cfgctl get management.snmp.privacypassword
  ********
  $ cfgctl get --reveal management.snmp.privacypassword
  given on stdin
  $ cfgctl list | cat - log | grep -c 'given on'
  0
  [1]

What a variable offers is rehearsed.

  $ cfgctl set uicontrol.vantortouch.homescreen[1].enabled=false >/dev/null
  $ cfgctl options uicontrol.vantortouch.homescreen[2].enabled
  false
  true  (not accepted now: kBadParameter (-3))
  $ cfgctl --json options uicontrol.vantortouch.homescreen[2].enabled | grep -A 2 offered
     "offered": [
      "false"
     ],
  $ cfgctl options security.remoteaccess.web.httpport
  ! cfgctl: security.remoteaccess.web.httpport has no options; it accepts 1..65535
  [1]

Names that nothing has, the nearest of which is offered.

  $ cfgctl get no.such
  ! cfgctl: unknown variable no.such (or not visible to this role); see 'cfgctl list'
  [1]
  $ cfgctl get Management.SNMP.ListenPort
  ! cfgctl: unknown variable Management.SNMP.ListenPort (or not visible to this role); did you mean management.snmp.listeningport?
  [1]
  $ cfgctl set management.snmp.traptarget.targetport[3]=1024
  ! cfgctl: unknown variable management.snmp.traptarget.targetport[3] (or not visible to this role); targetport has instances 0 to 2
  ! nothing has been changed
  [1]
  $ cfgctl list 'nothing*'
  ! cfgctl: no variable matches nothing* for this role
  [1]

The end.

  $ cfgctl --role user shutdown
  ! cfgctl: shutdown refused: kNotAuthorized (-41) ERR_ROLE_NOT_ALLOWED
  [1]
  $ cfgctl shutdown
  shutdown accepted
  $ wait "$daemon"
  $ cfgctl ping
  ! cfgctl: no service at run/appconfig.sock: No such file or directory; is appconfig running?
  [3]
