# Shared by the scripts beside it; sourced, not run.
# shellcheck shell=bash disable=SC2034  # the package lists are reached by name
set -euo pipefail

project_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$project_dir"

# Qt takes file names for UTF-8 only where the locale says so.
[[ $(locale charmap 2>/dev/null) == UTF-8 ]] || export LC_ALL=C.UTF-8

# Debian packages by purpose; the names are those of Debian 12.
packages_for_building=(
    cmake g++ ninja-build pkgconf
    qt6-base-dev qt6-multimedia-dev
    libavcodec-dev libavformat-dev libavutil-dev libswresample-dev
    libchromaprint-dev
    libacl1-dev libattr1-dev
)
# Qt Multimedia plays through GStreamer: without the base plugins its player crashes, without the
# others it lacks formats. A minimal system has no font at all.
packages_for_running=(
    gstreamer1.0-plugins-base gstreamer1.0-plugins-good
    gstreamer1.0-libav gstreamer1.0-plugins-ugly
    fonts-dejavu-core
)
# Qt's driver for the store of fingerprints.
packages_for_cli=(libqt6sql6-sqlite)
packages_for_demo=(ffmpeg xauth xvfb)
# What the package depends on is read out of what is linked (dpkg-dev).
packages_for_packaging=(dpkg-dev file gzip)
# A fresh system, and a screen, a sound server and a hand on the mouse outside of it.
packages_for_package_check=(
    debootstrap ffmpeg imagemagick lintian openbox procps pulseaudio pulseaudio-utils xdotool xvfb
)
# jsonschema holds what is written against its schema; the benchmarks are built with the tests. What
# is installed is looked at by the tools that desktops, software centres and packagers use. Some file
# systems show one file under two names.
packages_for_testing=(
    ffmpeg pulseaudio pulseaudio-utils strace python3-jsonschema libbenchmark-dev
    bindfs exfat-fuse exfatprogs mergerfs
    appstream binutils desktop-file-utils mandoc python3-yaml
)
# scripts/lint; what looks at the C++ with a compiler's eyes is large, and seldom run.
packages_for_linting=(clang-format cppcheck shellcheck)
packages_for_tidying=(clang-tidy python3)
# Qt is built from Debian's source package.
packages_for_races=(dpkg-dev libdouble-conversion-dev libpcre2-dev perl xz-utils zlib1g-dev)

# install_missing PURPOSE...: installs what is missing of the packages for building, running, cli,
# demo, packaging, package_check, testing, linting, tidying or races. Touches neither the package
# tools nor the network where nothing is missing.
install_missing() {
    local purpose wanted=() missing=()
    for purpose; do
        local -n packages=packages_for_$purpose
        wanted+=("${packages[@]}")
    done

    if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
        echo "This system has no apt-get. Needed are, by their Debian names:" >&2
        printf '    %s\n' "${wanted[@]}" >&2
        return
    fi
    mapfile -t missing < <(list_missing "${wanted[@]}")
    ((${#missing[@]})) || return 0

    local as_root=()
    if ((EUID != 0)); then
        if ! command -v sudo >/dev/null; then
            echo "Missing packages, to be installed by root (there is no sudo):" >&2
            echo "    apt-get install --no-install-recommends ${missing[*]}" >&2
            return
        fi
        as_root=(sudo)
    fi
    echo "Installing: ${missing[*]}"
    "${as_root[@]}" apt-get update
    "${as_root[@]}" env DEBIAN_FRONTEND=noninteractive \
        apt-get install -y --no-install-recommends "${missing[@]}"
}

# list_missing PACKAGE...: those that are not installed, one a line.
list_missing() {
    local package installed
    # Unknown packages are reported on standard error and by the status, the others still listed.
    installed=$(dpkg-query --show --showformat='${Package} ${db:Status-Status}\n' "$@" \
        2>/dev/null || true)
    for package; do
        grep -qxF "$package installed" <<<"$installed" || echo "$package"
    done
}

# build PRESET [TARGET...]: configures where that has not been done yet, and builds.
build() {
    local preset=$1 target_options=()
    shift
    (($# == 0)) || target_options=(--target "$@")
    [[ -f build/$preset/build.ninja ]] || cmake --preset "$preset"
    cmake --build --preset "$preset" "${target_options[@]}"
}
