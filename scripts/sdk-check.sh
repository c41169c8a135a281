#!/usr/bin/env bash
# Checks what a plug-in or host developer gets: installs BUILD_DIR into a
# temporary prefix, builds the examples out of tree against it (CMake package
# and pkg-config), runs the example host on a file the example plug-in reads,
# and lists the Debian package against the files it must and must not hold.
set -euo pipefail
build=${1:-build}
cd "$(dirname "$0")/.."
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

cmake --install "$build" --prefix "$prefix" >/dev/null
for f in lib/libffvanek.so lib/vane_wave.so lib/vane_wave.Fio2007-Config bin/vane bin/vane-probe \
         include/vane/fileio/zofileio.h include/vane/ffbase/ffbase.h lib/pkgconfig/ffvanek.pc \
         lib/cmake/VaneFormatKernel/VaneFormatKernelConfig.cmake; do
  [ -e "$prefix/$f" ] || { echo "sdk: $f is not installed"; exit 1; }
done
if find "$prefix/include" -path '*/detail/*' | grep -q .; then echo "sdk: a detail header was installed"; exit 1; fi
readelf -d "$prefix/lib/libffvanek.so" | grep -q 'SONAME.*libffvanek.so.[0-9]' || { echo "sdk: no SONAME"; exit 1; }

cmake -S examples/host -B "$work/host" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/host" >/dev/null
cmake -S examples/plugin-skeleton -B "$work/skeleton" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$work/skeleton" >/dev/null
# The same host through pkg-config.
PKG_CONFIG_PATH="$prefix/lib/pkgconfig" g++ examples/host/host.cpp -o "$work/host-pc" \
  $(PKG_CONFIG_PATH="$prefix/lib/pkgconfig" pkg-config --cflags --libs ffvanek) -Wl,-rpath,"$prefix/lib"

head -c 96000 /dev/zero >"$work/take.raw"
printf 'rate=48000\nchannels=2\n' >"$work/take.raw.txt"
export XDG_CACHE_HOME=$work/cache XDG_CONFIG_HOME=$work/config XDG_RUNTIME_DIR=$work
export VANE_PLUGIN_PATH=$work/skeleton
for host in "$work/host/vane-host" "$work/host-pc"; do
  out=$("$host" "$work/take.raw")
  echo "$out" | grep -q 'stream 0: audio, 48000 Hz, 2 channels, 24000 samples' || { echo "sdk: host said: $out"; exit 1; }
done
"$prefix/bin/vane" info "$work/take.raw" >/dev/null

(cd "$build" && cpack -G DEB >/dev/null)
deb=$(ls "$build"/vane-format-kernel_*.deb | head -n 1)
listing=$(dpkg-deb -c "$deb")
for f in ./usr/lib/libffvanek.so ./usr/bin/vane ./usr/lib/vane_wave.so ./usr/include/vane/fileio/zofileio.h \
         ./usr/lib/pkgconfig/ffvanek.pc; do
  echo "$listing" | grep -q " $f" || { echo "sdk: $f missing from $deb"; exit 1; }
done
if echo "$listing" | grep -q '/detail/'; then echo "sdk: $deb holds detail headers"; exit 1; fi
dpkg-deb --info "$deb" | grep -q 'Package: vane-format-kernel'
echo "sdk: 1 passed, 0 failed"
