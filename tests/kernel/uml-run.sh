#!/bin/sh
# Runs a command as root inside user-mode Linux: a real Linux kernel as a process (Debian's
# user-mode-linux), with bridge VLAN filtering, which the machine's own kernel may lack. The
# kernel's root is the machine's own file system (hostfs), so the command and everything it
# runs are the build's own. Its output comes back on standard output and its exit status is
# ours.
#
#   tests/kernel/uml-run.sh <work-dir> <command> [<argument>...]
#
# Exits 77 (a skip for ctest) only where user-mode Linux cannot run at all; a kernel that
# does not come up, or a command that does not finish, fails with a one-line reason.
set -u
work=$1
shift
kernel=$(command -v linux.uml || true)
if [ -z "$kernel" ]; then
   echo "skipped: user-mode Linux is not installed (tools/install-deps.sh installs it)"
   exit 77
fi
if ! [ -w /dev/shm ]; then
   echo "skipped: user-mode Linux needs a writable /dev/shm"
   exit 77
fi
mkdir -p "$work"
work=$(cd "$work" && pwd)
rm -f "$work/status" "$work/output"

# The command's words, each quoted for the init script.
command=""
for word in "$@"; do
   command="$command '$(printf '%s' "$word" | sed "s/'/'\\\\''/g")'"
done

cat >"$work/init" <<INIT
#!/bin/sh
# Inside the kernel: its own /proc, /sys and /dev, the bridge and veth modules, lo up.
export PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin HOME=/root
mount -t proc proc /proc
mount -t sysfs sysfs /sys
mount -t devtmpfs devtmpfs /dev 2>/dev/null
mount -t tmpfs tmpfs /dev/shm
modules=/usr/lib/uml/modules/\$(uname -r)
for m in crc-ccitt ipv6 llc stp bridge veth; do
   f=\$(find "\$modules" -name "\$m.ko*" | head -n 1)
   [ -n "\$f" ] && insmod "\$f" 2>>"$work/output"
done
ip link set lo up
cd "$PWD"
$command >>"$work/output" 2>&1
echo \$? >"$work/status"
sync
halt -f
INIT
chmod +x "$work/init"

timeout 600 "$kernel" mem=1G root=/dev/root rootfstype=hostfs rootflags=/ rw \
   init="$work/init" con=null >"$work/boot.log" 2>&1
cat "$work/output" 2>/dev/null
if ! [ -s "$work/status" ]; then
   echo "user-mode Linux did not run the command to its end: $(tail -n 1 "$work/boot.log")"
   exit 1
fi
exit "$(cat "$work/status")"
