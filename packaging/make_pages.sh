#!/usr/bin/env bash
# SPDX-License-Identifier: Apache-2.0
# Makes the manual pages and completions of the built tools, each by the tool itself:
# make_pages.sh BIN_DIR SHARE_DIR
set -euo pipefail

bin=$1
share=$2
manuals=$share/man/man1
rm -rf "$share"
mkdir -p "$manuals" "$share/bash-completion/completions" "$share/zsh/vendor-completions" \
  "$share/fish/vendor_completions.d"

page() { # name command...
  "${@:2}" --manual | gzip -9n >"$manuals/$1.1.gz"
}
complete() { # tool, command without the shell...
  "${@:2}" bash >"$share/bash-completion/completions/$1"
  "${@:2}" zsh >"$share/zsh/vendor-completions/_$1"
  "${@:2}" fish >"$share/fish/vendor_completions.d/$1.fish"
}

viewer=$bin/ryx-profile-viewer
toolbox=$bin/ryx-profile-log
page ryx-profile-viewer "$viewer"
page ryx-profile-log "$toolbox"
# The first names in the help's list of commands.
commands=$("$toolbox" --help | sed -n '/^Commands:/,/^$/s/^  \([a-z]\+\).*/\1/p')
for command in $commands; do page "ryx-profile-log-$command" "$toolbox" "$command"; done
complete ryx-profile-viewer "$viewer" --completion
complete ryx-profile-log "$toolbox" completion
