What is wrong with a command line is said in one line, and nothing is sent.

  $ . "$TESTDIR/setup.sh"
  $ cfgctl set --dryrun a.b=1
  ! cfgctl: '--dryrun' is not an option of set; did you mean '--dry-run'? Try 'cfgctl set --help'
  [2]
  $ cfgctl --jsno ping
  ! cfgctl: '--jsno' is not an option of ping; did you mean '--json'? Try 'cfgctl ping --help'
  [2]
  $ cfgctl nothing --json
  ! cfgctl: 'nothing' is not a command or option; try 'cfgctl --help'
  [2]
  $ cfgctl --dry-run ping
  ! cfgctl: --dry-run is not an option of ping; try 'cfgctl ping --help'
  [2]
  $ cfgctl ping --timeout nan
  ! cfgctl: --timeout: 'nan' is not a number from 0.001 to 86400; try 'cfgctl ping --help'
  [2]
  $ cfgctl gte a.b
  ! cfgctl: 'gte' is not a command or option; did you mean 'get'? Try 'cfgctl get --help'
  [2]
  $ cfgctl get
  ! cfgctl: NAME is required; try 'cfgctl get --help'
  [2]
  $ cfgctl list 'a*' 'b*'
  ! cfgctl: PATTERN: At Most 1 required but received 2; try 'cfgctl list --help'
  [2]
  $ cfgctl --role startup ping
  ! cfgctl: --role: invalid role 'startup'; choose from user, admin, provisioning, system; try 'cfgctl ping --help'
  [2]
  $ cfgctl history -n 0
  ! cfgctl: -n: '0' is not a number from 1 to 4294967295; try 'cfgctl history --help'
  [2]
  $ cfgctl history -n 4294967296
  ! cfgctl: -n: '4294967296' is not a number from 1 to 4294967295; try 'cfgctl history --help'
  [2]
  $ cfgctl watch --since 4x
  ! cfgctl: --since: '4x' is not a number from 0 to 18446744073709551615; try 'cfgctl watch --help'
  [2]
  $ cfgctl ping --socket ''
  ! cfgctl: --socket: it is empty; try 'cfgctl ping --help'
  [2]
  $ cfgctl ping --timeout 0
  ! cfgctl: --timeout: '0' is not a number from 0.001 to 86400; try 'cfgctl ping --help'
  [2]
  $ cfgctl get management..snmp
  ! cfgctl: 'management..snmp' is not a variable's name; write node.variable, with [n] after either for an instance other than 0
  [2]
  $ cfgctl completion zsh
  ! cfgctl: no completion for 'zsh', only for bash
  [2]

Of an assignment that is wrong no value is shown: it may be a secret.

  $ cfgctl set a.b
  ! cfgctl: argument 1 has no '='; write NAME=VALUE, NAME=- for a value on standard input, or in a terminal one NAME alone
  [2]
  $ cfgctl set a.b true
  ! cfgctl: write NAME=VALUE; did you mean a.b=true?
  [2]
  $ cfgctl set a.b a.c=hunter2
  ! cfgctl: argument 1 has no '='; write NAME=VALUE, NAME=- for a value on standard input, or in a terminal one NAME alone
  [2]
  $ cfgctl set a.b=1 hunter2
  ! cfgctl: argument 2 has no '='; write NAME=VALUE, NAME=- for a value on standard input, or in a terminal one NAME alone
  [2]
  $ cfgctl set a.b hunter2 x
  ! cfgctl: argument 1 has no '='; write NAME=VALUE, NAME=- for a value on standard input, or in a terminal one NAME alone
  [2]
  $ cfgctl set password=hunter2
  ! cfgctl: 'password' is not a variable's name; write node.variable, with [n] after either for an instance other than 0
  [2]
  $ cfgctl set a.b=- a.c=-
  ! cfgctl: standard input holds one value; write NAME=- only once
  [2]
  $ cfgctl set a.b=- </dev/null
  ! cfgctl: no value was given for a.b; nothing was sent ('NAME=' sets an empty value)
  [2]
  $ cfgctl set a.b=- </dev/zero
  ! cfgctl: the request is 1052701 bytes long; the service takes 1048576 at most
  [2]

Standard input is for whoever comes next.

  $ printf 'next\n' | { cfgctl set a.b; cat; }
  ! cfgctl: argument 1 has no '='; write NAME=VALUE, NAME=- for a value on standard input, or in a terminal one NAME alone
  next

The socket that is named is the one that is asked.

  $ cfgctl --socket elsewhere ping
  ! cfgctl: no service at elsewhere: No such file or directory; is appconfig running?
  [3]
  $ APPCONFIG_SOCKET=nowhere cfgctl ping
  ! cfgctl: no service at nowhere: No such file or directory; is appconfig running?
  [3]
