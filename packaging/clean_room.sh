#!/bin/bash
# Tries the Debian packages in FOLDER on a fresh Debian system, which is thrown away afterwards: the package tools'
# complaints, installation, first run, takes, removal. The system's packages come from where this machine gets its own.
#
#   clean_room.sh FOLDER
set -euo pipefail
here=$(dirname "$(readlink -f "$0")")
package=$(echo "$1"/tavro_*.deb)

echo "== Complaints of the package tools"
lintian --allow-root --tag-display-limit 0 --info --fail-on error,warning "$1"/tavro_*.changes
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
dpkg-deb --extract "$package" "$work/root"
dpkg-deb --extract "$1"/tavro-dbgsym_*.deb "$work/debug"
# The C library's start files lack the mark of control-flow protection, and then the linker gives it to no program.
# That every unit was compiled for it, as for the guard of the stack's growth, is told by the debug information.
hardening-check --nocfprotection "$work/root/usr/bin/tavro"
units=$(find "$work/debug" -name '*.debug' -exec readelf --debug-dump=info {} + 2>/dev/null | grep DW_AT_producer)
if grep --invert-match -e '-fstack-clash-protection -fcf-protection' <<<"$units"; then
  echo "These units are not hardened." >&2
  exit 1
fi
echo " Compiled with -fstack-clash-protection -fcf-protection: $(wc --lines <<<"$units") units, all"
appstreamcli validate-tree --no-net "$work/root"

# The release and the sources of this machine, without what is not Debian's.
sources() {
  # shellcheck disable=SC2016  # apt fills this in
  apt-get indextargets --format 'deb $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Identifier: Packages' 'Origin: Debian' | sort -u
}
release=$(sources | awk '{ print $3 }' | sort | head -n 1)
apt-config dump Acquire --no-empty --format '%f "%v";%n' | grep -E '^Acquire::(Check-|.*[Pp]roxy)' >"$work/apt.conf" || true

echo "== A fresh Debian system ($release)"
# shellcheck disable=SC2016  # mmdebstrap's shell knows the system's folder
sources | mmdebstrap --quiet --variant=apt --format=null --aptopt="$work/apt.conf" \
  --customize-hook='mkdir "$1/room"' \
  --customize-hook="copy-in $package $here/in_clean_room.sh $here/first_take.py $here/../tools /room" \
  --customize-hook='chroot "$1" /room/in_clean_room.sh' \
  "$release" - -
