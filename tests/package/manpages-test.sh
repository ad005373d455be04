#!/usr/bin/env bash
# The manual pages against the programs: the options (and, for bridgectl, the commands) that
# --help prints are exactly the items of the page's OPTIONS (COMMANDS) section, and the
# bridgesnmp* lines the plug-in registers exactly the items of bridgesnmp.conf(5)'s LINES.
# An item is a .TP tag: a command or line is its first bold word(s), options all its bold words.
#
#   manpages-test.sh <builddir>
set -euo pipefail
src=$(cd "$(dirname "$0")/../.." && pwd)
build=$1 status=0

bold() { sed 's/\\-/-/g' "$1" | awk -v s="$2" '/^\.SH/ { on = $2 == s } on && tag { print } { tag = $0 == ".TP" }' |
   if [ "$3" = all ]; then grep -oE '\\fB[^\\]+' | sed 's/\\fB//'; else sed -E 's/^\\fB([^\\]+).*/\1/'; fi; }
options() { "$@" --help | awk '/^[A-Z]/ { on = /^Options:/ } on' | grep -oE '^  -[^ ]+' | tr -d ' ' | tr ',' '\n'; }
commands() { # prefix program...: the leaf commands under the prefix
   local prefix=$1 c
   shift
   for c in $("$@" --help | awk '/^[A-Z]/ { on = /^Subcommands:/; next } on { print $1 }'); do
      if "$@" "$c" --help | grep -q '^Subcommands:'; then commands "$prefix$c " "$@" "$c"; else echo "$prefix$c"; fi
   done
}
same() { # what, the program's, the page's
   diff <(sort -u <<<"$2") <(sort -u <<<"$3") >"$build/man/differ" || {
      echo "$1 differ (<: the program, >: the page):" && cat "$build/man/differ" && status=1; }
}

for program in "$build/tools/bridgectl" "$build/plugin/bridgesnmp-agentx"; do
   page=$build/man/$(basename "$program").8
   same "$(basename "$program") options" "$(options "$program")" "$(bold "$page" OPTIONS all)"
done
same "bridgectl commands" "$(commands '' "$build/tools/bridgectl")" "$(bold "$build/man/bridgectl.8" COMMANDS first)"
same "bridgesnmp.conf lines" "$(grep -ohE '"bridgesnmp[A-Z][A-Za-z]*"' "$src"/plugin/*.cpp | tr -d '"')" \
   "$(bold "$build/man/bridgesnmp.conf.5" LINES first)"
exit $status
