#!/usr/bin/env bash
# The Debian package end to end: built from the build tree, linted, its programs saying its
# version; installed, serving in snmpd as Debian runs it, removed leaving only its
# configuration, purged leaving nothing.
#
#   package-test.sh <builddir>
#
# Installing needs root and no bridgesnmp package installed already; otherwise only the
# package's contents are checked, and the test says so.
set -euo pipefail

src=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d "${TMPDIR:-/tmp}/bridgesnmp-package-XXXXXX")
pid='' installed=no
cleanup() {
   [ -z "$pid" ] || kill "$pid" 2>/dev/null || true
   [ "$installed" = no ] || apt-get -qq -y -o DPkg::Lock::Timeout=120 purge bridgesnmp >/dev/null
   rm -rf "$work"
}
trap cleanup EXIT
fail() {
   [ ! -s "$work/log" ] || cat "$work/log" >&2
   echo "package test: $*" >&2
   exit 1
}
apt() { apt-get -qq -y -o DPkg::Lock::Timeout=120 "$@" >"$work/log" 2>&1 || fail "apt-get $*"; }

deb=$("$src/tools/build-deb.sh" "$1" "$work/deb" 2>"$work/log") || fail "the package did not build"
lintian -I --fail-on error,warning "$deb" >"$work/log" 2>&1 || fail "lintian reports errors or warnings"
root=
if [ "$(id -u)" -ne 0 ] || dpkg-query -W -f='${Status}' bridgesnmp 2>/dev/null | grep -q installed; then
   root=$work/root
   dpkg -x "$deb" "$root"
else
   apt install "$deb"
   installed=yes
fi
for program in usr/bin/bridgectl usr/sbin/bridgesnmp-agentx; do
   [ "$("$root/$program" --version)" = "${program##*/} $(dpkg-deb -f "$deb" Version)" ] ||
      fail "$program --version does not say the package's version"
done
! grep -Eqv '^[[:space:]]*(#|$)' "$root/etc/snmp/snmpd.conf.d/bridgesnmp.conf" ||
   fail "the snippet loads something as installed"
if [ -n "$root" ]; then
   echo "package test: installing and serving skipped (they need root and no bridgesnmp package installed)"
   exit 0
fi
dpkg-query -W -f='${Conffiles}\n' bridgesnmp | awk 'NF { print $1 }' >"$work/conffiles"
dpkg -L bridgesnmp >"$work/files"
grep -qx /etc/snmp/snmpd.conf.d/bridgesnmp.conf "$work/conffiles" &&
   grep -qx /etc/snmp/bridgesnmp-agentx.conf "$work/conffiles" || fail "conffiles: $(cat "$work/conffiles")"
port=$(python3 -c 'import socket; s = socket.socket(socket.AF_INET, socket.SOCK_DGRAM)
s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')

# As Debian's snmpd.service runs snmpd: its own snmpd.conf (listening on a private port, its
# AgentX socket private too), the installed snippet's lines uncommented as its comments say,
# started as root and running as Debian-snmp, warnings and worse on stdout.
unit() {
   mkdir -p "$work/unit/conf.d" "$work/unit/state"
   sed -e "s|^agentaddress .*|agentaddress udp:127.0.0.1:$port|" \
      -e "s|^includeDir .*|includeDir $work/unit/conf.d|" /etc/snmp/snmpd.conf >"$work/unit/snmpd.conf"
   echo "agentXSocket $work/unit/agentx" >>"$work/unit/snmpd.conf"
   sed -E "s/^#($1)/\\1/" /etc/snmp/snmpd.conf.d/bridgesnmp.conf >"$work/unit/conf.d/bridgesnmp.conf"
   chown -R Debian-snmp:Debian-snmp "$work/unit"
   chmod 0755 "$work"
   SNMPCONFPATH=$work/unit SNMP_PERSISTENT_DIR=$work/unit/state /usr/sbin/snmpd -LOw \
      -u Debian-snmp -g Debian-snmp -I -smux,mteTrigger,mteTriggerConf -f </dev/null >"$work/unit/log" 2>&1 &
   pid=$!
   expect 1.3.6.1.2.1.1.7.0 "$2"
}
get() { MIBS='' snmpget -v2c -c public -On -Oqv -t 0.3 -r 2 "127.0.0.1:$port" "$@" 2>&1; }
expect() {
   for _ in $(seq 100); do
      [ "$(get "$1")" != "$2" ] || return 0
      sleep 0.1
   done
   fail "$1 reads $(get "$1"), not $2 (snmpd's log: $(tr '\n' ' ' <"$work/unit/log"))"
}
logged() {
   for _ in $(seq 100); do
      ! grep -qF "$1" "$work/unit/log" || return 0
      sleep 0.1
   done
   fail "snmpd's log does not say \"$1\": $(tr '\n' ' ' <"$work/unit/log")"
}
stop() {
   kill "$pid"
   wait "$pid" || true
   pid=
}
as_snmpd() { setpriv --reuid Debian-snmp --regid Debian-snmp --clear-groups "$@"; }
v3set() {
   MIBS='' snmpset -v3 -l authPriv -u bridgeadmin -a SHA -A "an auth passphrase" -x AES \
      -X "a privacy passphrase" -On -Oqv "127.0.0.1:$port" "$@" 2>&1
}

# The plug-in with the simulated switch: seen through the stock community, found by bridgectl
# as root and as snmpd's user, a learned host and a SET kept through a reload.
host=1.3.6.1.2.1.17.7.1.2.2.1.2.10.2.0.0.0.0.153 pvid=1.3.6.1.2.1.17.7.1.4.5.1.1.5
# As after a boot (/run is a tmpfs): the other tests' snmpd, run as root, may have left the
# socket's directory behind, root's, where Debian-snmp could not reach the socket.
rm -rf /run/bridgesnmp
unit 'dlmod|bridgesnmpPlatform simulated|bridgesnmpTopology|bridgesnmpTrace|view|sysServices|createUser|group|access' 74
logged "bridgesnmp: serving the simulated switch from /usr/share/bridgesnmp/lab-switch.yaml"
expect 1.3.6.1.2.1.17.1.2.0 48
out=$(bridgectl learn 10 02:00:00:00:00:99 Ethernet9 2>&1) && [ "$out" = learned ] || fail "bridgectl as root: $out"
out=$(as_snmpd bridgectl status 2>&1) || fail "bridgectl as Debian-snmp: $out"
[ "$(v3set $pvid u 10)" = 10 ] || fail "the SNMPv3 user's PVID SET answered $(v3set $pvid u 10)"
expect "$host" 9
kill -HUP "$pid"
logged "reconfigured; the running switch is kept"
expect "$pvid" 10
expect "$host" 9
out=$(as_snmpd bridgectl age 10 02:00:00:00:00:99 2>&1) || fail "bridgectl after the reload: $out"
stop
[ ! -e /run/bridgesnmp/control.sock ] || fail "the control socket is left behind"

# The subagent as its unit runs it, under the same snmpd with the snippet's master line: it
# goes on serving through a re-install of the package.
sed -i -e 's/^bridgesnmpPlatform linux.*/bridgesnmpPlatform simulated/' \
   -e "\$a agentXSocket $work/unit/agentx" /etc/snmp/bridgesnmp-agentx.conf
unit 'master|view|sysServices' 74
/usr/sbin/bridgesnmp-agentx </dev/null >"$work/agentx.log" 2>&1 &
agent=$!
expect 1.3.6.1.2.1.17.1.2.0 48
apt install --reinstall "$deb"
expect 1.3.6.1.2.1.17.1.2.0 48
kill "$agent"
stop

# Removed, only the configuration files stay; purged, they go too.
apt remove bridgesnmp
while read -r path; do
   if grep -qxF "$path" "$work/conffiles"; then
      [ -f "$path" ] || fail "configuration file $path went on removal"
   elif [ ! -d "$path" ] && { [ -e "$path" ] || [ -L "$path" ]; }; then
      fail "$path is left behind"
   fi
done <"$work/files"
apt purge bridgesnmp
installed=no
while read -r path; do [ ! -e "$path" ] || fail "$path is left behind after purge"; done <"$work/conffiles"
