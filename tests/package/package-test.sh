#!/usr/bin/env bash
# The Debian package end to end: build it from the build tree, lint it, install it, serve
# with the installed snippet and plug-in in a private snmpd, and remove it leaving nothing
# but its configuration file.
#
#   package-test.sh <builddir>
#
# As root, with no bridgesnmp package installed already, it installs into the system and
# removes it again; otherwise it extracts into a scratch root, and removal is not tested.
set -euo pipefail

src=$(cd "$(dirname "$0")/../.." && pwd)
build=$(cd "$1" && pwd)
work=$(mktemp -d "${TMPDIR:-/tmp}/bridgesnmp-package-XXXXXX")
snmpd_pid=
installed=no
cleanup() {
   [ -z "$snmpd_pid" ] || kill "$snmpd_pid" 2>/dev/null || true
   # A failed test leaves no package behind either.
   [ "$installed" = no ] || apt-get -qq -y -o DPkg::Lock::Timeout=120 purge bridgesnmp >/dev/null 2>&1
   rm -rf "$work"
}
trap cleanup EXIT
fail() {
   echo "package test: $*" >&2
   exit 1
}
apt_wait() { apt-get -qq -y -o DPkg::Lock::Timeout=120 "$@" >"$work/apt.log" 2>&1 || {
   cat "$work/apt.log" >&2
   fail "apt-get $* failed"
}; }

deb=$("$src/tools/build-deb.sh" "$build" "$work/deb" 2>"$work/build.log") ||
   { cat "$work/build.log" >&2; fail "the package did not build"; }
lintian --fail-on error "$deb" || fail "lintian reports errors"

if [ "$(id -u)" -eq 0 ] && ! dpkg-query -W -f='${Status}' bridgesnmp 2>/dev/null | grep -q installed; then
   root=/
   apt_wait install "$deb"
   installed=yes
   dpkg-query -W -f='${Conffiles}\n' bridgesnmp | awk 'NF { print $1 }' >"$work/conffiles"
   dpkg -L bridgesnmp >"$work/files"
else
   root=$work/root
   dpkg -x "$deb" "$root"
fi
prefix=${root%/}
snippet=$prefix/etc/snmp/snmpd.conf.d/bridgesnmp.conf
plugin=$prefix/usr/lib/$(dpkg-architecture -qDEB_HOST_MULTIARCH)/bridgesnmp/bridgesnmp.so

# Installed, the snippet loads nothing until an operator uncomments it.
[ -z "$(grep -Ev '^[[:space:]]*(#|$)' "$snippet")" ] || fail "the snippet has active lines"

# snmpd with the snippet's plug-in lines uncommented, the control socket and (outside the
# system) the topology in the scratch root. Installed, the compiled default topology serves.
{
   echo "rocommunity public 127.0.0.1"
   sed -n 's/^#\(dlmod\|bridgesnmp\)/\1/p' "$snippet" |
      grep -v '^bridgesnmpControlSocket' |
      if [ "$root" = / ]; then grep -v '^bridgesnmpTopology'; else sed "s| /usr/| $prefix/usr/|"; fi
   echo "bridgesnmpControlSocket $work/control.sock"
} >"$work/snmpd.conf"
grep -q "^dlmod bridgesnmp $plugin\$" "$work/snmpd.conf" || fail "the snippet names no plug-in"

for attempt in 1 2 3; do
   port=$((20000 + RANDOM % 40000))
   SNMPCONFPATH=$work SNMP_PERSISTENT_DIR=$work MIBS= /usr/sbin/snmpd -f -C -c "$work/snmpd.conf" \
      -Lf "$work/snmpd.log" "udp:127.0.0.1:$port" </dev/null >/dev/null 2>&1 &
   snmpd_pid=$!
   for _ in $(seq 100); do
      answer=$(MIBS= snmpget -v2c -c public -On -t 0.2 -r 0 "127.0.0.1:$port" \
         1.3.6.1.2.1.17.1.3.0 1.3.6.1.2.1.31.1.1.1.1.1 2>/dev/null) && break
      kill -0 "$snmpd_pid" 2>/dev/null || break
      sleep 0.1
   done
   kill -0 "$snmpd_pid" 2>/dev/null && break
   grep -q "Error opening specified endpoint" "$work/snmpd.log" || break
done
expected='.1.3.6.1.2.1.17.1.3.0 = INTEGER: 2
.1.3.6.1.2.1.31.1.1.1.1.1 = STRING: "Ethernet1"'
[ "${answer:-}" = "$expected" ] || { cat "$work/snmpd.log" >&2; fail "snmpd answered: ${answer:-nothing}"; }
kill "$snmpd_pid"
wait "$snmpd_pid" || true
snmpd_pid=
[ "$root" != / ] || grep -q "loaded topology /usr/share/bridgesnmp/lab-switch.yaml" "$work/snmpd.log" ||
   { cat "$work/snmpd.log" >&2; fail "the installed default topology was not loaded"; }

[ "$root" = / ] || exit 0
# Removed: every file is gone but the configuration files; purged, those go too.
apt_wait remove bridgesnmp
while read -r path; do
   if grep -qxF "$path" "$work/conffiles"; then
      [ -f "$path" ] || fail "configuration file $path went on removal"
   elif [ ! -d "$path" ] && { [ -e "$path" ] || [ -L "$path" ]; }; then
      fail "$path is left behind"
   fi
done <"$work/files"
apt_wait purge bridgesnmp
installed=no
while read -r path; do
   [ ! -e "$path" ] || fail "$path is left behind after purge"
done <"$work/conffiles"
echo "package test: built, linted, installed, served and removed $(basename "$deb")"
