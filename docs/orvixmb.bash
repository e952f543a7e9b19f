# bash completion of orvixmb, made from its help texts
_orvixmb() {
  local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]}
  local options files values
  COMPREPLY=()
  if [[ $COMP_CWORD -eq 1 ]]; then
    mapfile -t COMPREPLY < <(compgen -W "read" -- "$current")
    return
  fi
  case ${COMP_WORDS[1]} in
    read)
      options="--help --port --trace --letter --names --json --csv --watch --count"
      files="--port"
      values="--letter --names --watch --count" ;;
  esac
  if [[ " $values " == *" $before "* ]]; then return; fi
  if [[ $current == -* && " $files " != *" $before "* ]]; then
    mapfile -t COMPREPLY < <(compgen -W "$options" -- "$current")
  else
    compopt -o filenames
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
  fi
}
complete -F _orvixmb orvixmb
