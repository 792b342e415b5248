# Bash completion for torvy-simulator, with the options that its help lists.

# Completes serial ports, by their names under /dev, and paths.
_torvy_simulator_ports() {
  local port
  for port in /dev/tty[A-Z]*; do
    [[ ! -c $port || ${port#/dev/} != "$1"* ]] || COMPREPLY+=("${port#/dev/}")
  done
  [[ $1 != */* ]] || _torvy_simulator_files "$1"
}

# Completes programs in PATH, and paths.
_torvy_simulator_programs() {
  local name
  if [[ $1 == */* ]]; then
    _torvy_simulator_files "$1"
    return
  fi
  while read -r name; do
    [[ -z $(type -P -- "$name") ]] || COMPREPLY+=("$name")
  done < <(compgen -c -- "$1" | sort -u)
}

_torvy_simulator_files() {
  compopt -o filenames
  mapfile -t -O "${#COMPREPLY[@]}" COMPREPLY < <(compgen -f -- "$1")
}

_torvy_simulator() {
  local current=${COMP_WORDS[COMP_CWORD]} option=${COMP_WORDS[COMP_CWORD - 1]}
  # bash splits "--color=al" into the words "--color", "=" and "al".
  if [[ $current == "=" ]]; then
    current=
  elif [[ $option == "=" ]]; then
    option=${COMP_WORDS[COMP_CWORD - 2]}
  fi
  COMPREPLY=()
  case $option in
    --color) mapfile -t COMPREPLY < <(compgen -W "auto always never" -- "$current") ;;
    --time) mapfile -t COMPREPLY < <(compgen -W "clock elapsed" -- "$current") ;;
    --port | --other-end) _torvy_simulator_ports "$current" ;;
    --driver) _torvy_simulator_programs "$current" ;;
    --script | --record | --link) _torvy_simulator_files "$current" ;;
    --device | --listen | --timeout) ;;
    *)
      mapfile -t COMPREPLY < <(compgen -W "$("$1" --help 2>/dev/null | grep -oE '^  (-h, )?--[a-z-]+' | grep -oE -- '--[a-z-]+')" -- "$current")
      ;;
  esac
}
complete -F _torvy_simulator torvy-simulator
