#!/bin/sh
# Plants each known fault in the product in turn, builds, runs the tests of <build dir>, and
# prints the tests that failed (skipped ones are not counted); the product file is restored after
# every fault. Exits 1 when a fault no longer plants, does not build or is not caught.
#   tests/inject-faults.sh <build dir> [fault name...]     (default: every fault)
set -eu
cd "$(dirname "$0")/.."
build=${1:?usage: $0 <build dir> [fault...]}
shift

# name <TAB> file <TAB> perl substitution over the whole file
faults() {
   cat <<'EOF'
hint-from-put-index	snmp/TableFrame.h	s/seek\(\*loop, \*hint\);\n\s*\}/seek(*loop, *hint); } else if (putIndexData) { netsnmp_table_request_info last{}; last.indexes = putIndexData; last.number_indexes = Policy::indexCount; seek(*loop, last); }/
time-slack-1	snmp/TableFrame.h	s/ticks \+ 2\)/ticks + 1)/
time-slack-3	snmp/TableFrame.h	s/ticks \+ 2\)/ticks + 3)/
portlist-bit-order	model/PortList.h	s/0x80 >> \(index % 8\)/0x01 << (index % 8)/
portlist-trailing-zero	model/PortList.h	s/\n(\s*)return size;/\n$1if (size > 0 && size < len) { buf[size++] = 0; }\n$1return size;/
fdb-keeps-internal-vlan	snmp/RowFilters.cpp	s/if \(vlan && vlan->internal\(\)\) \{\s*return false;\s*\}//
fid-keeps-internal-vlan	snmp/RowFilters.cpp	s/return vlan && !vlan->internal\(\);/return vlan != nullptr;/
fdb-keeps-portless	snmp/RowFilters.cpp	s/if \(!hasBridgePort\(intf\)\) \{/if (false \&\& !hasBridgePort(intf)) {/
ext-keeps-internal-vlan	snmp/RowFilters.cpp	s/ &&\n\s*!vlan->internal\(\);/;/
ext-keeps-portless	snmp/RowFilters.cpp	s/(entry = \*row;\n.*\n)\s*if \(!hasBridgePort\(entry->intf\(\)\)\) \{\s*return false;\s*\}/$1/
portlist-decode-bit-order	model/PortList.h	s/0x80 >> \(\(i - 1\) % 8\)/0x01 << ((i - 1) % 8)/
move-not-counted	platform/sim/LearningAgent.cpp	s/\+\+host\.moves;//
slice-ignores-quantum	agent/FidSm.cpp	s/if \(now >= deadline\)/if (false \&\& now >= deadline)/
pvid-as-integer	snmp/QBridgeVlanTables.cpp	s/("dot1qPvid", )ASN_UNSIGNED/$1ASN_INTEGER/
partial-index-skips-row	snmp/TableFrame.h	s/(<< hint\.number_indexes\);\n(\s*)startAtOrAfter\(loop, hint\);\n)/$1$2if (hint.number_indexes > 0 \&\& loop.it) { ++loop.it; }\n/
stp-transition-uncounted	platform/linux/StpPublisher.cpp	s/before->state != Bridging::StpPortState::forwarding/false/
stp-change-counted-per-reading	platform/linux/StpPublisher.cpp	s/change && !status\.topologyChange\(\)/change/
EOF
}

saved=$(mktemp)
file=
restore() { [ -z "$file" ] || cp "$saved" "$file"; }
trap 'restore; rm -f "$saved"' EXIT

list=$(mktemp)
faults >"$list"
failed=0
while IFS='	' read -r name path change; do
   if [ $# -gt 0 ] && ! printf ' %s ' "$*" | grep -q " $name "; then continue; fi
   file=$path
   cp "$file" "$saved"
   perl -0pi -e "$change" "$file"
   if cmp -s "$file" "$saved"; then
      echo "$name: NOT PLANTED (the code no longer matches)"
      failed=1
   elif ! cmake --build "$build" >/dev/null 2>&1; then
      echo "$name: does not build"
      failed=1
   else
      caught=$(cd "$build" && ctest -j2 2>&1 | sed -n '/(Skipped)$/d; s/^[[:space:]]*[0-9]* - \([^ ]*\) .*/\1/p' | tr '\n' ' ')
      echo "$name: ${caught:-NOT CAUGHT}"
      [ -n "$caught" ] || failed=1
   fi
   restore
   file=
done <"$list"
rm -f "$list"
cmake --build "$build" >/dev/null
exit "$failed"
