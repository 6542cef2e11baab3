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
  ! cfgctl: no variable matches *privacypassword for this role
  $ nobody history
  revision 1  TIME  uid 0 (root), process P (cfgctl), role admin
    set management.snmp.versionthree  true -> false
    because management.snmp.versionthree was set (onSet)
      management.snmp.traptarget.protocolversion[0..2]  options  -v3
  $ nobody list 'management.snmp.*p*'
  VARIABLE  VALUE  OFFERS  ACCESS
  management.snmp.listeningport  161  1..65535  editable
  management.snmp.transportprotocol  UDP  UDP TCP  editable
  management.snmp.traptarget.targetaddress    text up to 255 bytes  editable
  management.snmp.traptarget.targetaddress[1]    text up to 255 bytes  editable
  management.snmp.traptarget.targetaddress[2]    text up to 255 bytes  editable
  management.snmp.traptarget.targetport  162  1..65535  editable
  management.snmp.traptarget.targetport[1]  162  1..65535  editable
  management.snmp.traptarget.targetport[2]  162  1..65535  editable
  management.snmp.traptarget.protocolversion  v2c  v1 v2c  editable
  management.snmp.traptarget.protocolversion[1]  v2c  v1 v2c  editable
  management.snmp.traptarget.protocolversion[2]  v2c  v1 v2c  editable
  management.snmp.traptarget.messagetype  Trap  Trap Inform  editable
  management.snmp.traptarget.messagetype[1]  Trap  Trap Inform  editable
  management.snmp.traptarget.messagetype[2]  Trap  Trap Inform  editable
  management.snmp.traptarget.traptargetenable  false  true false  editable
  management.snmp.traptarget.traptargetenable[1]  false  true false  editable
  management.snmp.traptarget.traptargetenable[2]  false  true false  editable
  $ nobody complete -- get management.snmp.p
  $ nobody why management.snmp.traptarget.protocolversion
  value  v2c
    as the schema has it
  options  v1 v2c
    not offered now: v3
    since revision 1, TIME
    because management.snmp.versionthree was set to false (onSet)
    by uid 0 (root), process P (cfgctl), role admin
  access  editable
    as the schema has it

Nor does root, who acts as admin; the role system does, but of no secret.

  $ cfgctl get management.snmp.privacypassword
  ! cfgctl: unknown variable management.snmp.privacypassword (or not visible to this role); see 'cfgctl list'
  [1]
  $ cfgctl --role system history '*privacypassword' -n 1
  revision 1  TIME  uid 0 (root), process P (cfgctl), role admin
    set management.snmp.privacypassword  "" -> ********
    because management.snmp.versionthree was set (onSet)
      management.snmp.privacypassword  access  editable -> hidden
    and 9 more
  $ cfgctl --role system why management.snmp.privacypassword
  value  ********
    since revision 1, TIME
    set by uid 0 (root), process P (cfgctl), role admin
  access  hidden
    since revision 1, TIME
    because management.snmp.versionthree was set to false (onSet)
    by uid 0 (root), process P (cfgctl), role admin
  $ cfgctl --role system --json history | cat - log | grep -c swordfish
  0
  [1]
