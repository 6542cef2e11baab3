The service's own user, and one who has no role of his own.

  $ [ "$(id -u)" -eq 0 ] || exit 80
  $ . "$TESTDIR/setup.sh"
  $ start
  $ cp "$CFGCTL" client && chmod 755 . "$CRAMTMP"

He acts as user, and in no other role.

  $ nobody set management.snmp.location=Lobby
  set management.snmp.location  "" -> Lobby  accepted, revision 1
  $ nobody --role admin ping
  ! cfgctl: ping refused: kNotAuthorized (-41) ERR_ROLE_NOT_ALLOWED
  [1]
  $ nobody --role system shutdown
  ! cfgctl: shutdown refused: kNotAuthorized (-41) ERR_ROLE_NOT_ALLOWED
  [1]
  $ nobody shutdown
  ! cfgctl: shutdown refused: kNotAuthorized (-41) ERR_ROLE_NOT_ALLOWED
  [1]
  $ nobody set system.systemmode.noofsecondary=1
  ! refused  system.systemmode.noofsecondary=1
  !   ERR_READ_ONLY  this role may not change it now
  !   now  0
  !   access  read-only
  !     as the schema has it
  ! nothing has been changed
  [1]
  $ grep -o 'refused role admin to uid.*' log | alike
  refused role admin to uid 65534 (nobody), process P (cfgctl), role user
  $ nobody options comm.callsetting.callfeatures.fips140enable
  true  (not accepted now: kNotAuthorized (-41) ERR_READ_ONLY)
  false  (not accepted now: kNotAuthorized (-41) ERR_READ_ONLY)
  ! cfgctl: no value of comm.callsetting.callfeatures.fips140enable would be accepted now for this role
  [1]
  $ nobody get --reveal management.snmp.community
  ********
  ! cfgctl: revealing management.snmp.community requires role admin
  [1]
  $ chmod 600 run/appconfig.sock
  $ nobody ping
  ! cfgctl: no permission for the service's socket run/appconfig.sock; run as a user that may use it, or as root
  [3]
