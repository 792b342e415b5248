# Completion for torvy-simulator. bash-completion loads this file and provides the functions that begin with an underscore.

_torvy_simulator() {
  # shellcheck disable=SC2034  # _init_completion sets them
  local cur prev words cword split
  _init_completion -s || return
  case $prev in
    --color) mapfile -t COMPREPLY < <(compgen -W "auto always never" -- "$cur") ;;
    --time) mapfile -t COMPREPLY < <(compgen -W "clock elapsed" -- "$cur") ;;
    --port | --other-end)
      _filedir
      mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(cd /dev && compgen -f -X '!tty[A-Z]*' -- "$cur")
      ;;
    --driver) mapfile -t COMPREPLY < <(compgen -c -- "$cur") ;;
    --script | --record | --link) _filedir ;;
    --device | --listen | --timeout) ;;
    *) mapfile -t COMPREPLY < <(compgen -W "$(_parse_help "$1")" -- "$cur") ;;
  esac
} && complete -F _torvy_simulator torvy-simulator
