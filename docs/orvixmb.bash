# bash completion of orvixmb, made from its help texts
_orvixmb() {
  local current=${COMP_WORDS[COMP_CWORD]} before=${COMP_WORDS[COMP_CWORD-1]}
  local options files values
  COMPREPLY=()
  if [[ $COMP_CWORD -eq 1 ]]; then
    mapfile -t COMPREPLY < <(compgen -W "check read poll write save diff restore file identity log oscillogram replay simulate ports" -- "$current")
    return
  fi
  case ${COMP_WORDS[1]} in
    check)
      options="--help --letter --json"
      files=""
      values="--letter" ;;
    read)
      options="--help --port --trace --letter --names --json --csv --watch --count"
      files="--port"
      values="--letter --names --watch --count" ;;
    poll)
      options="--help --port --baud --address --function --start --count --type --parity --timeout --retries --trace --json --csv --watch --rounds"
      files="--port"
      values="--baud --address --function --start --count --type --parity --timeout --retries --watch --rounds" ;;
    write)
      options="--help --port --trace --letter --json"
      files="--port"
      values="--letter" ;;
    save)
      options="--help --port --trace --letter --partial --data-file --header"
      files="--port"
      values="--letter --header" ;;
    diff)
      options="--help --port --trace --letter --with-port --exit-code --json"
      files="--port --with-port"
      values="--letter" ;;
    restore)
      options="--help --port --trace --letter --yes"
      files="--port"
      values="--letter" ;;
    file)
      options="--help --port --trace --client --file --structure --records --first --json --csv"
      files="--port"
      values="--client --file --structure --records --first" ;;
    identity)
      options="--help --port --trace --client --json"
      files="--port"
      values="--client" ;;
    log)
      options="--help --port --trace --structure --json --csv --svg --comtrade --interval --from"
      files="--port --svg"
      values="--structure --comtrade --interval --from" ;;
    oscillogram)
      options="--help --port --trace --structure --json --csv --svg --comtrade --interval --number --records --info-structure"
      files="--port --svg"
      values="--structure --comtrade --interval --number --records --info-structure" ;;
    replay)
      options="--help --form --pcap --json"
      files="--form --pcap"
      values="" ;;
    simulate)
      options="--help --link --port --baud --parity --turnaround --journal --trace"
      files="--link --port"
      values="--baud --parity --turnaround" ;;
    ports)
      options="--help --json"
      files=""
      values="" ;;
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
