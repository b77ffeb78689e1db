# Completion of talvora-host in bash. The program itself tells what a word may become; where
# it tells nothing, readline offers files.

# Bash parts words at '=' and ':'. Puts those of the line before the cursor together again as
# they were typed, into the array `typed`.
_talvora_host_join_words() {
  local rest=${COMP_LINE:0:COMP_POINT} trimmed word i
  typed=()
  for ((i = 0; i <= COMP_CWORD; i++)); do
    trimmed=${rest#"${rest%%[![:space:]]*}"}
    word=${COMP_WORDS[i]}
    [[ $i -lt $COMP_CWORD ]] || word=$trimmed
    if [[ $i -gt 0 && -n $rest && $rest == "$trimmed" ]]; then
      typed[-1]+=$word
    else
      typed+=("$word")
    fi
    rest=${trimmed#"$word"}
  done
}

_talvora_host() {
  local typed last kept='' i word after=()
  _talvora_host_join_words
  last=${typed[-1]}
  for word in "${COMP_WORDS[@]:COMP_CWORD+1}"; do
    after+=("--after=$word")
  done
  mapfile -t COMPREPLY < <("${typed[0]/#\~/$HOME}" complete "${after[@]}" -- "${typed[@]:1}" 2>/dev/null)
  # Readline replaces only what stands behind the last '=' or ':'.
  [[ $last != *[=:]* ]] || kept=${last%"${last##*[=:]}"}
  for i in "${!COMPREPLY[@]}"; do
    COMPREPLY[i]=${COMPREPLY[i]#"$kept"}
  done
  [[ ${#COMPREPLY[@]} -ne 1 || ${COMPREPLY[0]} != *= ]] || compopt -o nospace 2>/dev/null
}

complete -o default -F _talvora_host talvora-host
