Of what is hidden from a role it does not hear.

  $ [ "$(id -u)" -eq 0 ] || exit 80
  $ . "$TESTDIR/setup.sh"
  $ start
  $ cp "$CFGCTL" client && chmod 755 . "$CRAMTMP"

Of what is hidden he does not hear, by any command.

  $ cfgctl set management.snmp.privacypassword=swordfish management.snmp.versionthree=false >/dev/null
  $ nobody get management.snmp.privacypassword
  ! cfgctl: unknown variable management.snmp.privacypassword (or not visible to this role); see 'cfgctl list'
  [1]
  $ nobody describe management.snmp.privacypassword
  ! cfgctl: unknown variable management.snmp.privacypassword (or not visible to this role); see 'cfgctl list'
  [1]
  $ nobody options management.snmp.privacypassword
  ! cfgctl: unknown variable management.snmp.privacypassword (or not visible to this role); see 'cfgctl list'
  [1]
  $ nobody why management.snmp.privacypassword
  ! cfgctl: unknown variable management.snmp.privacypassword (or not visible to this role); see 'cfgctl list'
  [1]
  $ nobody get management.snmp.privacypasswor
  ! cfgctl: unknown variable management.snmp.privacypasswor (or not visible to this role); see 'cfgctl list'
  [1]
  $ nobody set management.snmp.privacypassword=x
  ! cfgctl: unknown variable management.snmp.privacypassword (or not visible to this role); see 'cfgctl list'
  ! nothing has been changed
  [1]
  $ nobody history '*privacypassword'
  ! cfgctl: history holds no change of *privacypassword for this role
  $ nobody history
  revision 1  ????-??-?? ??:??:??.???  cfgctl (uid 0, process *), role admin (glob)
    set management.snmp.versionthree=false
    management.snmp.traptarget.protocolversion     options  v1 v2c v3 → v1 v2c  (onSet management.snmp.versionthree)
    management.snmp.traptarget.protocolversion[1]  options  v1 v2c v3 → v1 v2c  (onSet management.snmp.versionthree)
    management.snmp.traptarget.protocolversion[2]  options  v1 v2c v3 → v1 v2c  (onSet management.snmp.versionthree)
  $ nobody list 'management.snmp.*p*'
  VARIABLE                                        VALUE  OFFERS                ACCESS
  management.snmp.listeningport                   161    1..65535              editable
  management.snmp.transportprotocol               UDP    UDP TCP               editable
  management.snmp.traptarget.targetaddress               text up to 255 bytes  editable
  management.snmp.traptarget.targetaddress[1]            text up to 255 bytes  editable
  management.snmp.traptarget.targetaddress[2]            text up to 255 bytes  editable
  management.snmp.traptarget.targetport           162    1..65535              editable
  management.snmp.traptarget.targetport[1]        162    1..65535              editable
  management.snmp.traptarget.targetport[2]        162    1..65535              editable
  management.snmp.traptarget.protocolversion      v2c    v1 v2c                editable
  management.snmp.traptarget.protocolversion[1]   v2c    v1 v2c                editable
  management.snmp.traptarget.protocolversion[2]   v2c    v1 v2c                editable
  management.snmp.traptarget.messagetype          Trap   Trap Inform           editable
  management.snmp.traptarget.messagetype[1]       Trap   Trap Inform           editable
  management.snmp.traptarget.messagetype[2]       Trap   Trap Inform           editable
  management.snmp.traptarget.traptargetenable     false  true false            editable
  management.snmp.traptarget.traptargetenable[1]  false  true false            editable
  management.snmp.traptarget.traptargetenable[2]  false  true false            editable
  $ nobody complete -- get management.snmp.p
  $ nobody why management.snmp.traptarget.protocolversion
  value    v2c
    as the schema has it
  options  v1 v2c
    not offered now: v3
    since revision 1, ????-??-?? ??:??:??.??? (glob)
    because management.snmp.versionthree was set to false (onSet)
    by cfgctl (uid 0, process *), role admin (glob)
  access   editable
    as the schema has it

Nor does root, who acts as admin; the role system does, but of no secret.

  $ cfgctl get management.snmp.privacypassword
  ! cfgctl: unknown variable management.snmp.privacypassword (or not visible to this role); see 'cfgctl list'
  [1]
  $ cfgctl --role system history '*privacypassword' -n 1
  revision 1  ????-??-?? ??:??:??.???  cfgctl (uid 0, process *), role admin (glob)
    set management.snmp.privacypassword=********
    set management.snmp.versionthree=false
    management.snmp.traptarget.protocolversion     options  v1 v2c v3 → v1 v2c  (onSet management.snmp.versionthree)
    management.snmp.traptarget.protocolversion[1]  options  v1 v2c v3 → v1 v2c  (onSet management.snmp.versionthree)
    management.snmp.traptarget.protocolversion[2]  options  v1 v2c v3 → v1 v2c  (onSet management.snmp.versionthree)
    management.snmp.authenticationpassword         access   editable → hidden   (onSet management.snmp.versionthree)
    management.snmp.engineid                       access   editable → hidden   (onSet management.snmp.versionthree)
    management.snmp.id                             access   editable → hidden   (onSet management.snmp.versionthree)
    management.snmp.privacypassword                access   editable → hidden   (onSet management.snmp.versionthree)
    management.snmp.authenticationalgorithm        access   editable → hidden   (onSet management.snmp.versionthree)
    management.snmp.privacyalgorithm               access   editable → hidden   (onSet management.snmp.versionthree)
  $ cfgctl --role system why management.snmp.privacypassword
  value    ********
    since revision 1, ????-??-?? ??:??:??.??? (glob)
    set by cfgctl (uid 0, process *), role admin (glob)
  access   hidden
    since revision 1, ????-??-?? ??:??:??.??? (glob)
    because management.snmp.versionthree was set to false (onSet)
    by cfgctl (uid 0, process *), role admin (glob)
  $ cfgctl --role system --json history | cat - log | grep -c swordfish
  0
  [1]
