#!/bin/bash
# libavcodec, libavformat and libswresample with what Tavro uses of them and nothing else, from Debian's own source.
#
#   libav.sh PREFIX    builds them into PREFIX, unless they are there
#
# The packaged libraries can do everything, and bring some eighty other libraries along for it: 20 MB of memory that a
# program in the tray holds for nothing. The build finds these through pkg-config, and the packaged ones where these
# are missing.
set -euo pipefail

prefix=$(realpath -m "$1")
stamp=$prefix/stamp
version=$(sha256sum <"${BASH_SOURCE[0]}")
[ "$(cat "$stamp" 2>/dev/null)" != "$version" ] || exit 0
rm -rf "$prefix"
mkdir -p "$prefix"
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"

# Where this machine has Debian's packages from, as sources; known once its lists have been fetched.
list_sources() {
  apt-get indextargets --format 'deb-src $(REPO_URI) $(RELEASE) $(COMPONENT)' 'Created-By: Packages' 'Origin: Debian' |
    sort -u >sources.list
  [ -s sources.list ]
}
root=()
[ "$(id -u)" = 0 ] || root=(sudo)
list_sources || { "${root[@]}" apt-get update -qq && list_sources; } ||
  { echo "This machine knows no source of Debian packages." >&2; exit 1; }
mkdir -p state/lists/partial cache/archives/partial
source_only=(-qq -o Dir::Etc::SourceList="$work/sources.list" -o Dir::Etc::SourceParts=/dev/null
  -o Dir::State="$work/state" -o Dir::Cache="$work/cache" -o APT::Sandbox::User=root)
apt-get "${source_only[@]}" update
apt-get "${source_only[@]}" source ffmpeg >unpack.log 2>&1 || { cat unpack.log >&2; exit 1; }

features=(--enable-encoder=aac --enable-muxer=mp4,ipod --enable-demuxer=mov)
mkdir objects
cd objects
../ffmpeg-*/configure --prefix="$prefix" --enable-pic --disable-everything --disable-autodetect --disable-network \
  --disable-avdevice --disable-avfilter --disable-swscale --disable-programs --disable-doc --disable-debug \
  --enable-protocol=file "${features[@]}" >configure.log || { cat configure.log >&2; exit 1; }
make -j"$(nproc)" install >make.log 2>&1 || { tail -n 40 make.log >&2; exit 1; }
echo "$version" >"$stamp"
