#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Completes command lines in the real shells, and has the manual pages read by a formatter that
# complains: command_pages_test.sh BIN_DIR SHARE_DIR
# Shells that are not installed are left out, which is said.
# shellcheck disable=SC2317 # functions are called by their names
set -euo pipefail

export PATH=$1:$PATH
share=$2
tools=(ryx-profile-log ryx-profile-viewer)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
touch run.log out.csv case.json 'a run.log'

script_of() { # tool shell
  if [ "$1" = ryx-profile-log ]; then "$1" completion "$2"; else "$1" --completion "$2"; fi
}

# Each prints the words that the shell offers for the end of a line.

cat >in-bash <<'END'
line=$1
for tool in ryx-profile-log ryx-profile-viewer; do source "$tool.bash"; done
read -ra COMP_WORDS <<<"${line/=/ = }"
[[ $line == *' ' ]] && COMP_WORDS+=('')
COMP_CWORD=$((${#COMP_WORDS[@]} - 1))
compopt() { usesDefault=true; }
usesDefault=false
function="_${COMP_WORDS[0]//-/_}"
"$function"
$usesDefault && mapfile -t COMPREPLY < <(compgen -f -- "${COMP_WORDS[COMP_CWORD]}")
printf '%s\n' "${COMPREPLY[@]}"
END

# Types the line and a tabulator on a terminal, and shows what becomes of the line.
cat >in-zsh <<'END'
zmodload zsh/zpty
zpty shell 'TERM=dumb PROMPT= zsh -f -i'
send() { zpty -w shell "$1"; }
send "autoload -Uz compinit && compinit -u -D"
for tool in ryx-profile-log ryx-profile-viewer; do send "source ./$tool.zsh"; done
send 'show() { print -r -- $BUFFER >completed; zle kill-buffer; zle accept-line }; zle -N show; bindkey "^X" show'
zpty -w -n shell "$1"$'\t\x18'
for i in {1..600}; do [[ -s completed ]] && break; sleep 0.05; done
zpty -d shell
line=$(<completed)
word=${${(z)line}[-1]%=}
print -r -- ${word##*=}
END

in_bash() { bash in-bash "$1"; }
in_zsh() { rm -f completed; zsh -f in-zsh "$1"; }
in_fish() { fish -N -c "source ryx-profile-log.fish; source ryx-profile-viewer.fish; complete -C '$1'" | cut -f 1 | sed 's/.*=//'; }

failures=0
expect() { # shell line word
  local offered
  offered=$("in_$1" "$2")
  [ "$offered" = "$3" ] && return
  echo "in $1, '$2' becomes '$offered' instead of '$3'"
  failures=$((failures + 1))
}

for shell in bash zsh fish; do
  command -v "$shell" >/dev/null || { echo "no $shell here: not tested"; continue; }
  for tool in "${tools[@]}"; do script_of "$tool" "$shell" >"$tool.$shell"; done
  while read -r word line; do expect "$shell" "$line" "$word"; done <<'END'
stats     ryx-profile-log sta
build     ryx-profile-log bui
--merge   ryx-profile-log stats --mer
--merge   ryx-profile-log stats run.log --mer
p99       ryx-profile-log stats --sort p
p99       ryx-profile-log stats --sort=p
events    ryx-profile-log diff --gate ev
json      ryx-profile-log diff run.log run.log -f js
NetRun    ryx-profile-log cut run.log --method Ne
sqlite    ryx-profile-log export run.log --format sq
case.json ryx-profile-log build ca
run.log   ryx-profile-log verify out.csv ru
out.csv   ryx-profile-log export run.log -o ou
fish      ryx-profile-log completion fi
--version ryx-profile-log --vers
--save-objects ryx-profile-viewer --save
verbose   ryx-profile-viewer --log-level ve
out.csv   ryx-profile-viewer run.log -o ou
run.log   ryx-profile-viewer ru
END
done

command -v groff >/dev/null || { echo "no groff here: manual pages not tested"; exit $((failures > 0)); }
for page in "$share"/man/man1/*.gz; do
  name=$(basename "$page" .1.gz)
  zcat "$page" | groff -t -man -Tutf8 -ww >page.txt 2>complaints
  # Of a command "tool-command", the synopsis begins "tool command".
  if [ -s complaints ] || ! grep -q "^ *${name/-log-/-log } \\[OPTIONS\\]" page.txt; then
    echo "the manual page $name is wrong:"
    cat complaints
    failures=$((failures + 1))
  fi
done
[ "$(find "$share/man" -name '*.gz' | wc -l)" -ge 12 ] || { echo "manual pages are missing"; exit 1; }
exit $((failures > 0))
