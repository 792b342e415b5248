# Completion of torvy-simulator's options for bash, read off its own help.

_torvy_simulator() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD - 1]}
  case $previous in
    --color) mapfile -t COMPREPLY < <(compgen -W "auto always never" -- "$current") ;;
    --port | --other-end | --script | --record) mapfile -t COMPREPLY < <(compgen -f -- "$current") ;;
    --driver) mapfile -t COMPREPLY < <(compgen -c -f -- "$current") ;;
    --device | --patience) COMPREPLY=() ;;
    *)
      mapfile -t COMPREPLY < <(compgen -W "$("$1" --help 2>/dev/null | grep -oE '^  (-h, )?--[a-z-]+' | grep -oE -- '--[a-z-]+')" -- "$current")
      ;;
  esac
}
complete -o filenames -F _torvy_simulator torvy-simulator
