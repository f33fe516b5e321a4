# For scripts that try command lines: sourced, in a directory of the script's own.
# ends STATUS COMMAND...: output to "out" and "err".
ends() {
    local wanted=$1 status=0
    shift
    "$@" >out 2>err || status=$?
    if (( status != wanted )); then
        echo "status $status, not $wanted: $*"
        cat out err
        exit 1
    fi
}
