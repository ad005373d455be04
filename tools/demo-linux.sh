#!/usr/bin/env bash
# Serves a Linux kernel bridge with the built bridgesnmp.so: a private network namespace
# ("bsnmp-demo") holds the bridge br0 with three veth ports and snmpd on 127.0.0.1:<port>;
# three more namespaces are the hosts behind the ports. Frames from the hosts teach the bridge
# their addresses, then one host's address shows up behind another port (a move). Where the
# kernel's bridge filters VLANs, ports 1 and 2 are access ports of VLANs 10 and 20, port 3 a
# trunk (native 10, tagged 20), and a PVID SET moves port 2. Needs root.
#
#   tools/demo-linux.sh start <builddir> <port>   (make demo-linux [PORT=...])
#   tools/demo-linux.sh stop  <builddir> <port>   (make demo-linux-stop)
#   tools/demo-linux.sh show  <builddir> <port>   start, then stop (make demo-linux-uml runs
#                                                 it inside user-mode Linux)
set -euo pipefail

[ $# -eq 3 ] || { echo "usage: $0 start|stop|show <builddir> <port>" >&2; exit 2; }
action=$1
builddir=$2
port=$3
ns=bsnmp-demo
hosts=(bsnmp-h1 bsnmp-h2 bsnmp-h3)
in_ns() { ip netns exec "$ns" "$@"; }

stop_demo() {
   local pid
   if [ -f "$builddir/demo-linux/snmpd.pid" ]; then
      pid=$(tr -dc '0-9' <"$builddir/demo-linux/snmpd.pid")
      if [ -n "$pid" ] && [ "$(cat "/proc/$pid/comm" 2>/dev/null)" = snmpd ]; then
         kill -TERM "$pid" && echo "Stopped the demo snmpd (pid $pid)."
      fi
      rm -f "$builddir/demo-linux/snmpd.pid"
   fi
   for n in "$ns" "${hosts[@]}"; do
      ip netns del "$n" 2>/dev/null || true
   done
}

walk() {  # walk <title> <oid> [snmpwalk option...]
   echo "  $1:"
   in_ns snmpwalk -v2c -c public -On "${@:3}" "127.0.0.1:$port" "$2" | sed 's/^/    /'
}

start_demo() {
   if [ "$(id -u)" -ne 0 ]; then
      echo "$0: network namespaces need root" >&2
      exit 1
   fi
   builddir=$(cd "$builddir" && pwd)
   local dir="$builddir/demo-linux" plugin="$builddir/plugin/bridgesnmp.so"
   local ethsend="$builddir/tools/ethsend"
   [ -f "$plugin" ] && [ -x "$ethsend" ] || { echo "$0: build first (make build)" >&2; exit 1; }
   stop_demo >/dev/null
   rm -rf "$dir" && mkdir -p "$dir/persist"

   # The bridge and its ports; each host keeps the address we give it, and says nothing by
   # itself (no IPv6), so the forwarding table holds only what the demo sends.
   ip netns add "$ns"
   in_ns ip link set lo up
   in_ns ip link add br0 type bridge
   in_ns ip link set br0 up
   local vlans=yes
   in_ns ip link set br0 type bridge vlan_filtering 1 2>/dev/null || vlans=no
   for i in 1 2 3; do
      local h=${hosts[$((i - 1))]}
      ip netns add "$h"
      ip netns exec "$h" sysctl -qw net.ipv6.conf.default.disable_ipv6=1
      in_ns ip link add "port$i" type veth peer name eth0 netns "$h"
      in_ns ip link set "port$i" master br0
      in_ns ip link set "port$i" up
      ip -n "$h" link set eth0 address "02:00:00:00:00:0$i"
      ip -n "$h" link set eth0 up
   done

   if [ $vlans = yes ]; then
      in_ns bridge -batch - <<BATCH
vlan add dev br0 vid 10 self
vlan add dev br0 vid 20 self
vlan del dev port1 vid 1
vlan add dev port1 vid 10 pvid untagged
vlan del dev port2 vid 1
vlan add dev port2 vid 20 pvid untagged
vlan del dev port3 vid 1
vlan add dev port3 vid 10 pvid untagged
vlan add dev port3 vid 20
BATCH
   else
      echo "This kernel's bridge has no VLAN filtering: the demo shows VLAN 1 only" \
         "(make demo-linux-uml runs it with VLANs in user-mode Linux)."
   fi

   cat >"$dir/snmpd.conf" <<CONF
# snmpd.conf of the Linux bridge demo, written by tools/demo-linux.sh.
rocommunity public 127.0.0.1
rwcommunity private 127.0.0.1
dontLogTCPWrappersConnects yes
dlmod bridgesnmp $plugin
bridgesnmpTrace ${BRIDGESNMP_TRACE:-Snmp/1,LinuxBridge/1}
bridgesnmpPlatform linux br0
CONF
   SNMPCONFPATH="$dir/persist" SNMP_PERSISTENT_DIR="$dir/persist" MIBS= \
      in_ns setsid /usr/sbin/snmpd -f -C -c "$dir/snmpd.conf" -Lf "$dir/snmpd.log" \
      -p "$dir/snmpd.pid" "udp:127.0.0.1:$port" </dev/null >/dev/null 2>&1 &
   for ((i = 0; i < 100; i++)); do
      in_ns snmpget -v2c -c public -t 0.2 -r 0 "127.0.0.1:$port" 1.3.6.1.2.1.17.1.3.0 \
         >/dev/null 2>&1 && break
      sleep 0.1
   done

   echo "Hosts 02:00:00:00:00:01-03 send a frame each behind port1-3:"
   for i in 1 2 3; do
      ip netns exec "${hosts[$((i - 1))]}" "$ethsend" eth0 "02:00:00:00:00:0$i"
   done
   sleep 0.2
   walk "dot1dBasePortTable, port numbers and ifIndex" 1.3.6.1.2.1.17.1.4.1.2
   walk "dot1dTpFdbTable, the port of each address (the ports' own are mgmt)" 1.3.6.1.2.1.17.4.3.1.2
   if [ $vlans = yes ]; then
      walk "dot1qTpFdbPort, by FID (the VLAN) and address" 1.3.6.1.2.1.17.7.1.2.2.1.2
      walk "dot1qVlanStaticEgressPorts" 1.3.6.1.2.1.17.7.1.4.3.1.2 -Ox
      walk "dot1qPvid" 1.3.6.1.2.1.17.7.1.4.5.1.1
      echo
      echo "A manager moves port2 to VLAN 10 (snmpset dot1qPvid.2 u 10):"
      in_ns snmpset -v2c -c private -On "127.0.0.1:$port" 1.3.6.1.2.1.17.7.1.4.5.1.1.2 u 10 |
         sed 's/^/    /'
      echo "  the kernel's VLANs of port2 at once:"
      in_ns bridge vlan show dev port2 | sed 's/^/    /'
   fi
   echo
   echo "Host 1's address now sends from behind port3 (a move):"
   ip netns exec "${hosts[2]}" "$ethsend" eth0 02:00:00:00:00:01
   sleep 0.2
   local fid=1  # host 1's VLAN, which port3 carries untagged
   [ $vlans = no ] || fid=10
   walk "dot1qTpFdbPort of 02:00:00:00:00:01 in FID $fid" \
      "1.3.6.1.2.1.17.7.1.2.2.1.2.$fid.2.0.0.0.0.1"
   walk "its move count" "1.3.6.1.4.1.32473.3.2.1.1.2.0.$fid.2.0.0.0.0.1"
   cat <<EOF

bridgesnmp Linux bridge demo: snmpd in network namespace $ns, 127.0.0.1:$port, serving br0.
Try (the namespace's tools change the bridge; the walks follow):
  ip netns exec $ns snmpwalk -v2c -c public 127.0.0.1:$port 1.3.6.1.2.1.17
  ip netns exec $ns bridge fdb add 02:00:00:00:0f:01 dev port2 master static
  ip netns exec $ns bridge fdb del 02:00:00:00:00:02 dev port2 master
  ip netns exec $ns ip link set port3 down
  ip netns exec ${hosts[0]} $ethsend eth0 02:00:00:00:10:00 1000
Log: $dir/snmpd.log
Stop it with: make demo-linux-stop
EOF
}

case $action in
   start) start_demo ;;
   stop) stop_demo ;;
   show)
      start_demo | sed '/^Try/,$d'
      stop_demo
      ;;
   *) echo "usage: $0 start|stop|show <builddir> <port>" >&2; exit 2 ;;
esac
