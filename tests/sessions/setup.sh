# What every session begins with: the commands that it has besides the shell's. The daemon works
# in cram's directory of the session. CMake names the two programs, APPCONFIG and CFGCTL.

export APPCONFIG_SOCKET=run/appconfig.sock TEST_LOG_DEVICE="$PWD/log" \
    RUNTIME_DIRECTORY="$PWD/run" STATE_DIRECTORY="$PWD/state" CONFIGURATION_DIRECTORY="$PWD/config"
unset NOTIFY_SOCKET
: >log # a log device is there beforehand

# Runs a program. What it writes to standard error follows the rest, each line after "! ".
run() { # PROGRAM ARGUMENTS...
    "$@" >stdout 2>stderr
    set -- $?
    alike <stdout
    alike <stderr | sed 's/^/! /'
    return "$1"
}

# Tabs as blanks, and what is different each time by its name.
alike() {
    sed -E 's/\t/  /g; s/[0-9]{4}-[0-9-]{5} [0-9:.]{12}[+-][0-9:]{5}/TIME/g
        s/process [0-9]+/process P/g'
}

cfgctl() { run "$CFGCTL" "$@"; }

# The client of a user who has no role of his own.
nobody() { run setpriv --reuid=65534 --regid=65534 --clear-groups ./client "$@"; }

# Starts a daemon, which ends with the shell, and waits until it serves; $daemon is its process.
start() { # ARGUMENTS...
    setpriv --pdeathsig KILL "$APPCONFIG" "$@" >/dev/null 2>&1 &
    daemon=$!
    serves
}

serves() {
    until "$CFGCTL" ping >answer 2>&1; do
        kill -0 "$daemon" || return
        sleep 0.01
    done
    grep -qw "process $daemon" answer || cat answer
}

# Ends the daemon without a chance to tidy up.
stop() { { kill -KILL "$daemon" && wait "$daemon"; } 2>/dev/null || :; }

trap stop EXIT
