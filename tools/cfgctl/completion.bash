# Completion of cfgctl's command line in bash. Candidates come from the service that is running:
# the variables that the role may see, and what they offer now.
_cfgctl() {
    local line=${COMP_LINE:0:COMP_POINT} words candidate
    # by blanks alone: COMP_WORDS is split at '=' and ':' too
    read -ra words <<<"${line//\\/}"
    [[ $line == *[[:blank:]] ]] && words+=('')
    words=("${words[@]//[\'\"]/}")
    [[ ${words[-2]-} == --socket ]] && compopt -o default  # a file's name, for want of candidates
    # of the last word, readline replaces only what follows such a character
    local kept=${words[-1]%"${2//[\\\'\"]/}"}
    COMPREPLY=()
    while IFS= read -r candidate; do
        COMPREPLY+=("${candidate#"$kept"}")
    done < <("$1" complete -- "${words[@]:1}" 2>/dev/null)
    [[ ${COMPREPLY[0]-} == *= ]] && compopt -o nospace
    return 0
}
complete -F _cfgctl cfgctl
