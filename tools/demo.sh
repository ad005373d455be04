#!/usr/bin/env bash
# Runs the built bridgesnmp.so in a private snmpd on 127.0.0.1:<port>, for trying it by hand
# with the net-snmp command-line tools. Everything it writes stays under <builddir>/demo/.
#
#   tools/demo.sh start <builddir> <port>   (make demo [PORT=...])
#   tools/demo.sh stop  <builddir> <port>   (make demo-stop)
set -euo pipefail

usage() {
   echo "usage: $0 start|stop <builddir> <port>" >&2
   exit 2
}

[ $# -eq 3 ] || usage
action=$1
builddir=$2
port=$3
# The demo's SNMPv3 user, as net-snmp's tools take it.
v3user="-v3 -l authPriv -u bridgeadmin -a SHA -A demo-auth-pass -x AES -X demo-priv-pass"
if ! [[ $port =~ ^[0-9]+$ ]] || ((port < 1 || port > 65535)); then
   echo "$0: not a UDP port: $port" >&2
   exit 2
fi

demo_dir() { echo "$builddir/demo"; }
pid_file() { echo "$(demo_dir)/snmpd.pid"; }

# The pid of the demo's snmpd if it is running.
running_pid() {
   local pid
   [ -f "$(pid_file)" ] || return 1
   pid=$(tr -dc '0-9' <"$(pid_file)")
   [ -n "$pid" ] || return 1
   kill -0 "$pid" 2>/dev/null || return 1
   # A stale pid file may name some other process by now.
   [ "$(cat "/proc/$pid/comm" 2>/dev/null)" = "snmpd" ] || return 1
   echo "$pid"
}

stop_demo() {
   local pid i
   if ! pid=$(running_pid); then
      rm -f "$(pid_file)"
      return 1
   fi
   kill -TERM "$pid"
   for ((i = 0; i < 50; i++)); do
      kill -0 "$pid" 2>/dev/null || break
      sleep 0.1
   done
   if kill -0 "$pid" 2>/dev/null; then
      kill -KILL "$pid" 2>/dev/null || true
   fi
   rm -f "$(pid_file)"
   echo "Stopped the demo snmpd (pid $pid)."
}

find_snmpd() {
   local candidate
   for candidate in "$(command -v snmpd || true)" /usr/sbin/snmpd /usr/local/sbin/snmpd; do
      if [ -n "$candidate" ] && [ -x "$candidate" ]; then
         echo "$candidate"
         return 0
      fi
   done
   echo "$0: snmpd not found; install it with 'make deps'" >&2
   return 1
}

# demo_snmpget TIMEOUT RETRIES OID: snmpget against the demo agent, with no MIBs and no user
# configuration.
demo_snmpget() {
   MIBS= SNMPCONFPATH="$(demo_dir)/client" SNMP_PERSISTENT_DIR="$(demo_dir)/client" \
      snmpget -v2c -c public -On -t "$1" -r "$2" "127.0.0.1:$port" "$3"
}

show_log_tail() {
   echo "---- last lines of $log ----" >&2
   tail -n 30 "$log" >&2 || true
   if [ -s "$out" ]; then
      echo "---- snmpd's own output, $out ----" >&2
      tail -n 30 "$out" >&2 || true
   fi
}

# A manager moves an access port to another VLAN with one SET of its PVID; the switch applies
# it, and the walks show it. Ethernet9 (bridge port 9) is in VLAN 10 on the lab switch.
show_port_move() {
   local agent="127.0.0.1:$port" pvid=1.3.6.1.2.1.17.7.1.4.5.1.1 egress=1.3.6.1.2.1.17.7.1.4.3.1.2
   echo "A manager moves Ethernet9 (bridge port 9) from VLAN 10 to VLAN 20, over SNMPv3:"
   echo "  snmpset $v3user $agent $pvid.9 u 20"
   # shellcheck disable=SC2086 # the user's options are words
   snmpset $v3user -On "$agent" "$pvid.9" u 20 | sed 's/^/    /'
   # The switch applies the write on its next turn; give it a moment before walking.
   sleep 0.3
   echo "  snmpwalk of dot1qPvid (ports 8 to 10), and the egress ports of VLANs 10 and 20:"
   snmpwalk -v2c -c public -On "$agent" "$pvid" | sed -n '8,10s/^/    /p'
   snmpget -v2c -c public -On "$agent" "$egress.10" "$egress.20" | sed 's/^/    /'
   echo "  bridgectl show switchports (input beside applied):"
   $bridgectl show switchports | sed -n '1p;/^Ethernet9 /p' | sed 's/^/    /'
   echo
}

start_demo() {
   local plugin snmpd pid i answered answer
   if [ ! -d "$builddir" ]; then
      echo "$0: no build directory $builddir; run 'make build' first" >&2
      exit 1
   fi
   builddir=$(cd "$builddir" && pwd)
   plugin="$builddir/plugin/bridgesnmp.so"
   if [ ! -f "$plugin" ]; then
      echo "$0: $plugin is missing; run 'make build' first" >&2
      exit 1
   fi
   snmpd=$(find_snmpd)
   topology=${TOPOLOGY:-$(cd "$(dirname "$0")/.." && pwd)/examples/lab-switch.yaml}
   socket="$builddir/demo/control.sock"
   bridgectl="$builddir/tools/bridgectl --socket $socket"

   stop_demo || true
   mkdir -p "$(demo_dir)/persist" "$(demo_dir)/mibs" "$(demo_dir)/client"
   conf="$(demo_dir)/snmpd.conf"
   log="$(demo_dir)/snmpd.log"
   out="$(demo_dir)/snmpd.out"
   cat >"$conf" <<EOF
# snmpd.conf of the bridgesnmp demo, written by tools/demo.sh.
rocommunity public 127.0.0.1
rwcommunity private 127.0.0.1
dontLogTCPWrappersConnects yes
dlmod bridgesnmp $plugin
bridgesnmpTrace ${BRIDGESNMP_TRACE:-Snmp/1,SimSwitch/1}
bridgesnmpTopology $topology
bridgesnmpControlSocket $socket
bridgesnmpSystemName demo
# An SNMPv3 user (SHA, AES) who reads everything and writes the port VLAN tables only.
createUser bridgeadmin SHA demo-auth-pass AES demo-priv-pass
view all included .1
view bridgevlans included .1.3.6.1.2.1.17.7.1.4.3
view bridgevlans included .1.3.6.1.2.1.17.7.1.4.5
group bridgeadmins usm bridgeadmin
access bridgeadmins "" usm priv exact all bridgevlans none
EOF
   : >"$log"
   : >"$out"

   # Its own session, so that it outlives this script and the terminal. Without snmpd's own
   # interface tables: IF-MIB shows the simulated switch's ports, not this host's.
   SNMPCONFPATH="$(demo_dir)" SNMP_PERSISTENT_DIR="$(demo_dir)/persist" \
      MIBS= MIBDIRS="$(demo_dir)/mibs" \
      setsid "$snmpd" -f -C -c "$conf" -Lf "$log" -p "$(pid_file)" \
      -I -ifTable,-ifXTable,-interfaces "udp:127.0.0.1:$port" \
      </dev/null >>"$out" 2>&1 &
   pid=$!

   answered=no
   for ((i = 0; i < 100; i++)); do
      if ! kill -0 "$pid" 2>/dev/null; then
         break
      fi
      if demo_snmpget 0.2 0 1.3.6.1.2.1.1.3.0 >/dev/null 2>&1; then
         answered=yes
         break
      fi
      sleep 0.1
   done
   if [ "$answered" != yes ]; then
      if kill -0 "$pid" 2>/dev/null; then
         echo "$0: snmpd (pid $pid) did not answer on 127.0.0.1:$port within 10 s" >&2
         kill -TERM "$pid" 2>/dev/null || true
      else
         echo "$0: snmpd ended before answering on 127.0.0.1:$port" >&2
      fi
      rm -f "$(pid_file)"
      show_log_tail
      exit 1
   fi
   echo "$pid" >"$(pid_file)"

   answer=$(demo_snmpget 1 1 1.3.6.1.2.1.17.1.3.0 2>&1 || true)
   if [[ $answer != *"INTEGER: 2"* ]]; then
      echo "$0: snmpd answers, but not for the plug-in: $answer" >&2
      show_log_tail
      stop_demo >/dev/null || true
      exit 1
   fi

   show_port_move

   cat <<EOF
bridgesnmp demo: snmpd (pid $pid) with $plugin
serving SNMPv2c on 127.0.0.1:$port (read community "public", write community "private"), and
SNMPv3 to the user bridgeadmin, who writes the port VLAN tables only:
  snmpset $v3user 127.0.0.1:$port 1.3.6.1.2.1.17.7.1.4.5.1.1.9 u 10

Try:
  snmpget -v2c -c public 127.0.0.1:$port 1.3.6.1.2.1.17.1.3.0
      dot1dBaseType, answers INTEGER: 2
  snmpwalk -v2c -c public 127.0.0.1:$port 1.3.6.1.2.1.17
      the BRIDGE-MIB subtree, Q-BRIDGE-MIB (1.3.6.1.2.1.17.7) included
  snmpwalk -v2c -c public 127.0.0.1:$port 1.3.6.1.2.1.31.1.1.1.1
      ifName: the switch's ports by ifIndex, as dot1dBasePortIfIndex names them
  snmpbulkwalk -v2c -c public -Cr50 127.0.0.1:$port 1.3.6.1.2.1.17.7.1.2.2
      dot1qTpFdbTable: every FID's forwarding entries
  snmpbulkwalk -v2c -c public 127.0.0.1:$port 1.3.6.1.4.1.32473.3.2.1
      the per-MAC move counts and times (after a bridgectl move below)
  snmpset -v2c -c private 127.0.0.1:$port 1.3.6.1.2.1.17.1.3.0 i 3
      refused with notWritable

The simulated switch ($topology) takes live commands:
  $bridgectl show summary
  $bridgectl show vlans
  $bridgectl learn 10 02:00:00:00:10:01 Ethernet9
  $bridgectl move 10 02:00:00:00:10:01 Ethernet10
  $bridgectl show fdb 10
  $bridgectl link Ethernet9 down
  $bridgectl burst 10000 8

Log:           $log
Configuration: $conf
  (more detail in the log: BRIDGESNMP_TRACE=Snmp/2 make demo)
Stop it with:  make demo-stop   (or: tools/demo.sh stop $builddir $port)
EOF
}

case $action in
   start)
      start_demo
      ;;
   stop)
      if [ -d "$builddir" ]; then
         builddir=$(cd "$builddir" && pwd)
      fi
      stop_demo || echo "No demo snmpd running for $builddir."
      ;;
   *)
      usage
      ;;
esac
