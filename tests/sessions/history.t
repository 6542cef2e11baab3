What a change brought about, when asked for, and what brought it about.

  $ . "$TESTDIR/setup.sh"
  $ start
  $ cfgctl set management.snmp.versionthree=false
  set management.snmp.versionthree=false  accepted  kNoError (0)
    management.snmp.traptarget.protocolversion     options  v1 v2c v3 → v1 v2c  (onSet management.snmp.versionthree)
    management.snmp.traptarget.protocolversion[1]  options  v1 v2c v3 → v1 v2c  (onSet management.snmp.versionthree)
    management.snmp.traptarget.protocolversion[2]  options  v1 v2c v3 → v1 v2c  (onSet management.snmp.versionthree)
    management.snmp.authenticationpassword         access   editable → hidden   (onSet management.snmp.versionthree)
    management.snmp.engineid                       access   editable → hidden   (onSet management.snmp.versionthree)
    management.snmp.id                             access   editable → hidden   (onSet management.snmp.versionthree)
    management.snmp.privacypassword                access   editable → hidden   (onSet management.snmp.versionthree)
    management.snmp.authenticationalgorithm        access   editable → hidden   (onSet management.snmp.versionthree)
    management.snmp.privacyalgorithm               access   editable → hidden   (onSet management.snmp.versionthree)
  $ cfgctl set management.snmp.location= management.snmp.listeningport=8161
  set management.snmp.location=  accepted  kNoError (0)
  set management.snmp.listeningport=8161  accepted  kNoError (0)
  $ cfgctl set management.snmp.location=Lobby
  set management.snmp.location=Lobby  accepted  kNoError (0)
  $ cfgctl history
  revision 1  ????-??-?? ??:??:??.???  cfgctl (uid 0, process *), role admin (glob)
    set management.snmp.versionthree=false
    management.snmp.traptarget.protocolversion     options  v1 v2c v3 → v1 v2c  (onSet management.snmp.versionthree)
    management.snmp.traptarget.protocolversion[1]  options  v1 v2c v3 → v1 v2c  (onSet management.snmp.versionthree)
    management.snmp.traptarget.protocolversion[2]  options  v1 v2c v3 → v1 v2c  (onSet management.snmp.versionthree)
  revision 2  ????-??-?? ??:??:??.???  cfgctl (uid 0, process *), role admin (glob)
    set management.snmp.location=
    set management.snmp.listeningport=8161
  revision 3  ????-??-?? ??:??:??.???  cfgctl (uid 0, process *), role admin (glob)
    set management.snmp.location=Lobby
  $ cfgctl history -n 1
  revision 3  ????-??-?? ??:??:??.???  cfgctl (uid 0, process *), role admin (glob)
    set management.snmp.location=Lobby
  $ cfgctl history 'management.snmp.*version*'
  revision 1  ????-??-?? ??:??:??.???  cfgctl (uid 0, process *), role admin (glob)
    set management.snmp.versionthree=false
    management.snmp.traptarget.protocolversion     options  v1 v2c v3 → v1 v2c  (onSet management.snmp.versionthree)
    management.snmp.traptarget.protocolversion[1]  options  v1 v2c v3 → v1 v2c  (onSet management.snmp.versionthree)
    management.snmp.traptarget.protocolversion[2]  options  v1 v2c v3 → v1 v2c  (onSet management.snmp.versionthree)
  $ cfgctl why management.snmp.location
  value    Lobby
    since revision 3, ????-??-?? ??:??:??.??? (glob)
    set by cfgctl (uid 0, process *), role admin (glob)
  access   editable
    as the schema has it
  $ cfgctl why management.snmp.versionthree
  value    false
    since revision 1, ????-??-?? ??:??:??.??? (glob)
    set by cfgctl (uid 0, process *), role admin (glob)
  access   editable
    as the schema has it
  $ cfgctl why management.snmp.traptarget.protocolversion
  value    v2c
    as the schema has it
  options  v1 v2c
    not offered now: v3
    since revision 1, ????-??-?? ??:??:??.??? (glob)
    because management.snmp.versionthree was set to false (onSet)
    by cfgctl (uid 0, process *), role admin (glob)
  access   editable
    as the schema has it
  $ cfgctl --role system why management.snmp.engineid
  value    ""
    as the schema has it
  access   hidden
    since revision 1, ????-??-?? ??:??:??.??? (glob)
    because management.snmp.versionthree was set to false (onSet)
    by cfgctl (uid 0, process *), role admin (glob)
  $ cfgctl why management.snmp.enabled
  value    true
    as the schema has it
  access   editable
    as the schema has it

What follows from what followed is told step by step.

  $ cfgctl set uicontrol.vantortouch.homescreen[1].enabled=false
  set uicontrol.vantortouch.homescreen[1].enabled=false  accepted  kNoError (0)
    uicontrol.vantortouch.homescreen[2].enabled  value  true → false  (change uicontrol.vantortouch.homescreen[1].enabled)
    uicontrol.vantortouch.homescreen[3].enabled  value  true → false  (change uicontrol.vantortouch.homescreen[2].enabled)
    uicontrol.vantortouch.homescreen[4].enabled  value  true → false  (change uicontrol.vantortouch.homescreen[3].enabled)
  $ cfgctl why uicontrol.vantortouch.homescreen[2].enabled
  value    false
    since revision 4, ????-??-?? ??:??:??.??? (glob)
    because uicontrol.vantortouch.homescreen[1].enabled was set to false (change)
    by cfgctl (uid 0, process *), role admin (glob)
  access   editable
    as the schema has it
  $ cfgctl --role system set comm.callsetting.callfeatures.fips140enable=true
  set comm.callsetting.callfeatures.fips140enable=true  accepted  kNoError (0)
    management.snmp.authenticationalgorithm  value  MD5 → SHA             (onSet comm.callsetting.callfeatures.fips140enable)
    management.snmp.privacyalgorithm         value  CBC-DES → CFB-AES128  (onSet comm.callsetting.callfeatures.fips140enable)
  $ cfgctl why management.snmp.privacyalgorithm
  ! cfgctl: unknown variable management.snmp.privacyalgorithm (or not visible to this role); see 'cfgctl list'
  [1]
  $ cfgctl --role system why management.snmp.privacyalgorithm
  value    CFB-AES128
    since revision 5, ????-??-?? ??:??:??.??? (glob)
    because comm.callsetting.callfeatures.fips140enable was set to true (onSet)
    by cfgctl (uid 0, process *), role system (glob)
  options  CBC-DES CFB-AES128
    as the schema has it
  access   hidden
    since revision 1, ????-??-?? ??:??:??.??? (glob)
    because management.snmp.versionthree was set to false (onSet)
    by cfgctl (uid 0, process *), role admin (glob)
