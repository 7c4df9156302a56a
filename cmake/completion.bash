# Completion of nalvo for bash.
_nalvo() {
  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} verb=${COMP_WORDS[1]}
  COMPREPLY=()
  if [ "$COMP_CWORD" -eq 1 ]; then
    mapfile -t COMPREPLY < <(compgen -W "to-mime to-mapi show check object pipe --help --version" -- "$current")
    return
  fi
  case $previous in
    --form) mapfile -t COMPREPLY < <(compgen -W "lossless exact wire store" -- "$current"); return ;;
    --framing) mapfile -t COMPREPLY < <(compgen -W "lines lengths" -- "$current"); return ;;
    pipe) mapfile -t COMPREPLY < <(compgen -W "to-mime to-mapi" -- "$current"); return ;;
  esac
  if [[ $current == -* ]]; then
    # What the verb says of itself is the list.
    mapfile -t COMPREPLY < <(compgen -W "$(nalvo "$verb" --help 2>/dev/null | grep -oE -- '(^|[ ,])--?[a-z][a-z-]*' | sort -u)" -- "$current")
  else
    mapfile -t COMPREPLY < <(compgen -f -- "$current")
    compopt -o filenames
  fi
}
complete -F _nalvo nalvo
