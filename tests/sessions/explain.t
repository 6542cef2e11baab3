What would happen, why it would not, and what has to do with what.

  $ . "$TESTDIR/setup.sh"
  $ mkdir config
  $ cat >config/a.textproto <<'END'
  > variable { node: "room" name: "seats" kind: INTEGER minimum: 1 maximum: 9 default_value: "4" }
  > message { tag: "ERR_ROOM_TOO_SMALL" text: "the room has fewer seats" }
  > END
  $ echo 'message { tag: "small" text: "no" }' >config/b.textproto
  $ start

A tag prints its sentence, be it a handler's, the platform's or the device's.

  $ for tag in ERR_SNMP_VERSION_DISABLE ERR_NOT_OFFERED ERR_ROOM_TOO_SMALL ERR_NONE; do
  >   cfgctl explain "$tag"
  > done
  while SNMP is on, its last version cannot be switched off
  an option that is not offered now
  the room has fewer seats
  ! cfgctl: nothing refuses with ERR_NONE
  [1]

Assignments are rehearsed. A refusal tells what it rests on, and what would help.

  $ cfgctl explain room.seats=5
  set room.seats  4 -> 5  would be accepted
  $ cfgctl explain room.seats=10
  refused  room.seats=10
    ERR_INVALID_VALUE  not a value of the variable's kind
    accepts  1..9
    now  4
  no remedy found: the refusal names no setting that this role may change
  [1]
  $ cfgctl set uicontrol.vantortouch.homescreen[1].enabled=false >/dev/null
  $ cfgctl explain uicontrol.vantortouch.homescreen[2].enabled=true
  refused  uicontrol.vantortouch.homescreen[2].enabled=true
    now  false
    read  uicontrol.vantortouch.homescreen[1].enabled = false
  would be accepted with
    uicontrol.vantortouch.homescreen[1].enabled=true
  [1]
  $ cfgctl explain uicontrol.vantortouch.homescreen[4].enabled=true
  refused  uicontrol.vantortouch.homescreen[4].enabled=true
    now  false
    read  uicontrol.vantortouch.homescreen[3].enabled = false
  no remedy found in 1 rehearsal with other values of uicontrol.vantortouch.homescreen[3].enabled
  [1]
  $ cfgctl set -q uicontrol.apps.recentcalls.enabled=false
  $ cfgctl explain uicontrol.apps.home.placeacallfunc=recentcalls
  refused  uicontrol.apps.home.placeacallfunc=recentcalls
    ERR_NOT_OFFERED  an option that is not offered now
    accepts  keypad contacts speeddials
    now  keypad
    options  keypad contacts speeddials
      since revision 2, TIME
      because uicontrol.apps.recentcalls.enabled was set to false (onSet)
      by uid 0 (root), process P (cfgctl), role admin
  would be accepted with
    uicontrol.apps.recentcalls.enabled=true
      because uicontrol.apps.recentcalls.enabled became true (onSet)
        uicontrol.apps.recentcalls.maxnumbertodisplay  access  read-only -> editable
        uicontrol.apps.home.placeacallfunc  options  +recentcalls
      because uicontrol.apps.recentcalls.enabled became true (change)
        uicontrol.vantortouch.placeacallsubpages  options  +recent_calls
        uicontrol.vantortouch.homescreen[0..2].button[0..2]  options  +Recent
  [1]
  $ cfgctl explain -v uicontrol.apps.recentcalls.maxnumbertodisplay=3
  refused  uicontrol.apps.recentcalls.maxnumbertodisplay=3
    ERR_READ_ONLY  this role may not change it now
    now  25
    access  read-only
      since revision 2, TIME
      because uicontrol.apps.recentcalls.enabled was set to false (onSet)
      by uid 0 (root), process P (cfgctl), role admin
  would be accepted with
    uicontrol.apps.recentcalls.enabled=true
        uicontrol.apps.recentcalls.maxnumbertodisplay  access  read-only -> editable  (onSet uicontrol.apps.recentcalls.enabled)
        uicontrol.apps.home.placeacallfunc  options  keypad contacts speeddials -> keypad contacts recentcalls speeddials  (onSet uicontrol.apps.recentcalls.enabled)
        uicontrol.vantortouch.placeacallsubpages  options  keypad contacts speed_dials -> keypad contacts recent_calls speed_dials  (change uicontrol.apps.recentcalls.enabled)
        uicontrol.vantortouch.homescreen.button  options  None Keypad Contacts Speed_Dial Calendar Content -> None Keypad Contacts Recent Speed_Dial Calendar Content  (change uicontrol.apps.recentcalls.enabled)
        uicontrol.vantortouch.homescreen.button[1]  options  None Keypad Contacts Speed_Dial Calendar Content -> None Keypad Contacts Recent Speed_Dial Calendar Content  (change uicontrol.apps.recentcalls.enabled)
        uicontrol.vantortouch.homescreen.button[2]  options  None Keypad Contacts Speed_Dial Calendar Content -> None Keypad Contacts Recent Speed_Dial Calendar Content  (change uicontrol.apps.recentcalls.enabled)
        uicontrol.vantortouch.homescreen[1].button  options  None Keypad Contacts Speed_Dial Calendar Content -> None Keypad Contacts Recent Speed_Dial Calendar Content  (change uicontrol.apps.recentcalls.enabled)
        uicontrol.vantortouch.homescreen[1].button[1]  options  None Keypad Contacts Speed_Dial Calendar Content -> None Keypad Contacts Recent Speed_Dial Calendar Content  (change uicontrol.apps.recentcalls.enabled)
        uicontrol.vantortouch.homescreen[1].button[2]  options  None Keypad Contacts Speed_Dial Calendar Content -> None Keypad Contacts Recent Speed_Dial Calendar Content  (change uicontrol.apps.recentcalls.enabled)
        uicontrol.vantortouch.homescreen[2].button  options  None Keypad Contacts Speed_Dial Calendar Content -> None Keypad Contacts Recent Speed_Dial Calendar Content  (change uicontrol.apps.recentcalls.enabled)
        uicontrol.vantortouch.homescreen[2].button[1]  options  None Keypad Contacts Speed_Dial Calendar Content -> None Keypad Contacts Recent Speed_Dial Calendar Content  (change uicontrol.apps.recentcalls.enabled)
        uicontrol.vantortouch.homescreen[2].button[2]  options  None Keypad Contacts Speed_Dial Calendar Content -> None Keypad Contacts Recent Speed_Dial Calendar Content  (change uicontrol.apps.recentcalls.enabled)
  [1]
  $ cfgctl set uicontrol.apps.inacalllayout.timemode=off uicontrol.apps.inacalllayout.whentoshow=hourly
  ! cfgctl: unknown variable uicontrol.apps.inacalllayout.whentoshow (or not visible to this role); an assignment before it hides it
  ! nothing has been changed
  [1]
  $ cfgctl explain management.snmp.versionone=false management.snmp.versiontwo=false management.snmp.versionthree=false
  refused  management.snmp.versionthree=false
    ERR_SNMP_VERSION_DISABLE  while SNMP is on, its last version cannot be switched off
    now  true
    read  management.snmp.enabled = true
    read  management.snmp.versionone = false
    read  management.snmp.versiontwo = false
  no remedy found in 1 rehearsal with other values of management.snmp.enabled
  [1]
  $ cfgctl --role user explain system.systemmode.noofsecondary=1
  refused  system.systemmode.noofsecondary=1
    ERR_READ_ONLY  this role may not change it now
    now  0
    access  read-only
      as the schema has it
  no remedy found: the refusal names no setting that this role may change
  [1]
  $ cfgctl explain no.such=1
  ! cfgctl: unknown variable no.such (or not visible to this role); see 'cfgctl list'
  [1]
  $ cfgctl explain room.seats
  ! cfgctl: argument 1 has no '='; write NAME=VALUE, NAME=- for a value on standard input, or in a terminal one NAME alone
  [2]
  $ cfgctl history -n 1 | head -n 2
  revision 2  TIME  uid 0 (root), process P (cfgctl), role admin
    set uicontrol.apps.recentcalls.enabled  true -> false

Whoever asks may ask who he is, and how the service is.

  $ cfgctl whoami | sed "s/uid $(id -u) ($(id -un))/uid N (NAME)/"
  uid N (NAME), role admin, up to system
  $ cfgctl status | sed "s|$PWD/||"
  service  AppConfig 0.1.0, process P
  since  TIME
  revision  2
  settings  70
  changes  are kept
  database  state/appconfig.db
  schema  config/a.textproto
  schema  config/b.textproto  left out: line 1: a tag is made of up to 64 upper-case letters, digits and '_'
  connections  1
  watches  0
  $ cfgctl --role user status | grep -c -e database -e schema
  0
  [1]

The rules, setting by setting.

  $ cfgctl deps management.snmp.traptarget.protocolversion[1]
  value moved by  management.snmp.{versionone,versiontwo}  depending on management.snmp.versionthree
  value moved by  management.snmp.versionthree  depending on management.snmp.versiontwo
  options moved by  management.snmp.versiontwo  depending on management.snmp.versionone management.snmp.versionthree
  options moved by  management.snmp.versionthree  depending on management.snmp.versionone management.snmp.versiontwo
  options moved by  management.snmp.versionone  depending on management.snmp.versionthree management.snmp.versiontwo
  access moved by  management.snmp.enabled
  $ cfgctl deps uicontrol.apps.menu.showsysteminfo
  moves access  uicontrol.apps.menu.{showh323extension,showipaddress,showsipaddress}
  $ cfgctl deps room.seats
  ! cfgctl: nothing that this role may see now has to do with room.seats by any rule
  $ cfgctl --role user deps no.such
  ! cfgctl: unknown variable no.such (or not visible to this role); see 'cfgctl list'
  [1]
  $ cfgctl deps
  ! cfgctl: deps requires a NAME, or --dot
  [2]
  $ cfgctl deps --dot | grep -e timemode -e digraph
  digraph rules {
  "uicontrol.apps.inacalllayout.timemode" [fillcolor="#e2f2dc" label="uicontrol.apps.inacalllayout\ntimemode" width=2.580000]
  "uicontrol.apps.inacalllayout.timemode" -> "uicontrol.apps.inacalllayout.whentoshow" [color="#207020"]
