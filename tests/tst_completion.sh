#!/usr/bin/env bash
# What the shell completes for the programs, and that their man pages tell of every option.
# usage: tst_completion.sh CANBENCH BOXSIM BOXDECODE
set -euo pipefail
packaging=$(dirname "$0")/../packaging
source "$packaging/completion/canbench"
cd "$packaging" # files of the current folder are completed too: here none begins with d

completed() # PROGRAM WORD... : what the last word is completed to
{
  local COMP_WORDS=("$@") COMP_CWORD=$(($# - 1)) COMPREPLY=()
  "$(complete -p "$(basename "$1")" | sed 's/.* -F \([^ ]*\) .*/\1/')" "$1"
  echo "${COMPREPLY[*]}"
}

completed_by_zsh() # PROGRAM WORD... : the same in zsh, whose editor the three functions stand in for
{
  zsh -f -c '
    compadd() { print -r -- ${(@P)2} }
    compset() { : }
    _files() { print -r -- "files $*" }
    fpath=($1 $fpath) words=("${@[2,-1]}") CURRENT=$((# - 1))
    autoload -Uz _canbench && _canbench' zsh "$PWD/completion" "$@" | xargs
}

check() # EXPECTED ACTUAL
{
  [ "$1" = "$2" ] || { echo "expected '$1', got '$2'" >&2; exit 1; }
}

check '--car-model --car-model-index' "$(completed "$1" --car)"
check '--help' "$(completed "$2" --h)"
check '--exit-after-scenario' "$(completed "$2" --e)"
check '--scenario' "$(completed "$2" --link x --sc)"
check 'Camry_2012_Portrait' "$(completed "$1" --car-model Camry_2012_P)"
check 'de' "$(completed "$1" --language d)"
check '' "$(completed "$1" --car-model --)"
check "$packaging/man" "$(completed "$1" --settings-root "$packaging/m")"
check "$packaging/man/boxsim.1" "$(completed "$2" --scenario "$packaging/man/boxs")"
check 'delay door drive drop duplicate' "$(completed "$2" --scenario d)"
check '--from --format --filter' "$(completed "$3" --f | tr ' ' '\n' | sort -r | xargs)"
check 'radar,clock' "$(completed "$3" --filter radar,clo)"
check 'man' "$(completed "$3" --all m)"
check 'real' "$(completed "$1" --clock = r)"
check 'files -/' "$(completed_by_zsh "$1" --settings-root x)"
check 'door' "$(completed_by_zsh "$2" --scenario doo | sed 's/files //')"
check '--scenario=door' "$(completed_by_zsh "$2" --scenario=do | sed 's/files //')"
check '--from --format --filter' "$(completed_by_zsh "$3" --f | tr ' ' '\n' | sort -r | xargs)"
check '/dev/tty' "$(completed "$1" --port '' | tr ' ' '\n' | grep -x /dev/tty)"

for program in "$@"; do
  page=$packaging/man/$(basename "$program").1
  for option in $(completed "$program" --); do
    grep -qwe "$option" <(sed 's/\\-/-/g' "$page") || { echo "$page does not tell of $option" >&2; exit 1; }
  done
done
