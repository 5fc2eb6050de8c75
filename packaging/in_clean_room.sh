#!/bin/bash
# Inside the clean room: installs the package as a user would, uses it, and removes it. It ends the system it runs on.
set -euo pipefail
cd /room
export DEBIAN_FRONTEND=noninteractive
log=/room/apt.log

say() { printf '== %s (%d:%02d)\n' "$*" $((SECONDS / 60)) $((SECONDS % 60)); }
fail() { echo "$*" >&2; exit 1; }
apt() { apt-get --yes --quiet "$@" >"$log" 2>&1 || { cat "$log"; exit 1; }; }
as_tester() { runuser --user tester -- env --ignore-environment HOME=/home/tester PATH=/usr/bin:/bin LANG=C.UTF-8 "$@"; }
installed() { dpkg-query --show --showformat '${Installed-Size}\n' | awk '{ n++; kb += $1 } END { print n, int(kb / 1024) }'; }

command -v useradd >/dev/null || apt install passwd # Debian 13 comes without it
useradd --create-home tester
read -r packages_before size_before < <(installed)

say "Installing what the package cannot do without"
apt install --no-install-recommends ./tavro_*.deb
read -r packages size < <(installed)
echo "$((packages - packages_before)) packages, $((size - size_before)) MB; tavro itself: $(dpkg-query --show --showformat '${Installed-Size}' tavro) kB"
as_tester tavro --version
! ldd /usr/bin/tavro | grep 'not found' || fail "libraries are missing"

say "Windows without a display"
# There is no bus either. The first run's window opens by itself; where something is missing, its views tell.
as_tester timeout 5 env QT_QPA_PLATFORM=offscreen tavro >offscreen.log 2>&1 || [ $? = 124 ] || fail "$(cat offscreen.log)"
grep 'Tavro launched' offscreen.log || fail "$(cat offscreen.log)"
! grep 'qrc:\|is not installed' offscreen.log || fail "a part of the windows is missing"

say "Installing the package as a user does"
apt purge --autoremove tavro
apt install --install-recommends ./tavro_*.deb # as apt does on other systems than one just made
read -r packages size < <(installed)
echo "$((packages - packages_before)) packages, $((size - size_before)) MB with what it recommends"

say "A desktop to try it on"
apt install --no-install-recommends python3 python3-dbus python3-gi gir1.2-atspi-2.0 python3-pyatspi at-spi2-core \
  dbus xvfb openbox xfce4-panel x11-utils xdotool pulseaudio pulseaudio-utils ffmpeg
mkdir --mode=1777 /tmp/.X11-unix

say "A tester's first take"
as_tester python3 tools/desktop/desktop.py --with x11,wm,bus,panel,a11y,notify,pulse,stubopen -- python3 first_take.py
say "Done"

dpkg --listfiles tavro >files
apt purge --autoremove tavro
while read -r file; do
  [ ! -f "$file" ] || fail "$file is left"
done <files
left=$(find / -xdev \( -path /room -o -path /home -o -path /proc -o -path /sys \) -prune -o -iname '*tavro*' -print)
[ -z "$left" ] || fail "left behind: $left"
echo "Left of the program: nothing. Left of the tester's:"
find /home/tester -type f
say "Removed"
