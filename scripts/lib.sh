# Shared by the scripts beside it; sourced, not run.
# shellcheck shell=bash disable=SC2034  # the package lists are reached by name
set -euo pipefail

project_dir=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
cd "$project_dir"

# Qt reads file names as UTF-8 only in a locale of UTF-8.
[[ $(locale charmap 2>/dev/null) == UTF-8 ]] || export LC_ALL=C.UTF-8

# The preset of the tests. Warnings are errors in the project's own CI only, on the system that it
# runs on: a newer compiler's new warning keeps nobody else from testing.
tests_preset=release
if [[ ${CI-} == true ]] && (. /etc/os-release && [[ "$ID $VERSION_ID" == "debian 12" ]]) 2>/dev/null; then
    tests_preset=ci
fi

# Debian packages by purpose; the names are those of Debian 12 and later.
packages_for_building=(
    cmake g++ ninja-build pkgconf
    qt6-base-dev qt6-multimedia-dev
    libavcodec-dev libavformat-dev libavutil-dev libswresample-dev
    libchromaprint-dev
    libacl1-dev libattr1-dev
)
# A minimal system has no font at all.
packages_for_running=(fonts-dejavu-core)
# Qt Multimedia before 6.5 plays through GStreamer: without the base plugins its player crashes,
# without the others it lacks formats. Later ones play through FFmpeg, which is there already.
packages_for_gstreamer=(
    gstreamer1.0-plugins-base gstreamer1.0-plugins-good
    gstreamer1.0-libav gstreamer1.0-plugins-ugly
)
# Qt's driver for the store of fingerprints.
packages_for_cli=(libqt6sql6-sqlite)
packages_for_demo=(ffmpeg xauth xvfb)
# What the package depends on is read out of what is linked (dpkg-dev).
packages_for_packaging=(dpkg-dev file gzip)
# A fresh system, and a screen, a sound server and a hand on the mouse outside of it.
packages_for_distribution_check=(
    debootstrap ffmpeg git imagemagick openbox procps pulseaudio pulseaudio-utils xdotool xvfb
)
# Engines that divide a search among machines, for scripts/check-cluster. Debian starts Slurm only where
# it is configured; munge, by which its programs know each other, it starts.
packages_for_cluster_check=(ffmpeg libqt6sql6-sqlite munge parallel procps slurm-wlm)
# A sound server that plays into nothing.
packages_for_playback=(pulseaudio pulseaudio-utils)
# jsonschema validates the program's output; the benchmarks are built with the tests. The tools of
# desktops, software centres and packagers check what is installed, and each shell completes it; jq is in
# an example. Some file systems show one file under two names.
packages_for_testing=(
    ffmpeg strace python3-jsonschema libbenchmark-dev fonts-dejavu-core
    bindfs exfat-fuse exfatprogs mergerfs
    appstream binutils desktop-file-utils mandoc python3-yaml
    bash-completion fish jq zsh
)
# scripts/lint; clang-tidy is large, and seldom run.
packages_for_linting=(clang-format cppcheck shellcheck)
packages_for_tidying=(clang-tidy python3)
# Qt is built from Debian's source package.
packages_for_races=(
    dpkg-dev fonts-dejavu-core perl xz-utils
    libdouble-conversion-dev libfreetype-dev libjpeg-dev libpcre2-dev libpng-dev zlib1g-dev
)

# install_missing PURPOSE...: installs what is missing of the packages for building, running, cli,
# gstreamer, demo, packaging, distribution_check, cluster_check, playback, testing, linting, tidying
# or races. Where nothing is missing, it uses neither the package tools nor the network.
install_missing() {
    local purpose needed=() missing=()
    for purpose; do
        local -n packages=packages_for_$purpose
        needed+=("${packages[@]}")
    done

    if ! command -v apt-get >/dev/null || ! command -v dpkg-query >/dev/null; then
        echo "This system has no apt-get. Needed are, by their Debian names:" >&2
        printf '    %s\n' "${needed[@]}" >&2
        return
    fi
    mapfile -t missing < <(list_missing "${needed[@]}")
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

# install_for_running [PURPOSE...]: installs what is missing to build and to run the window, and for
# the purposes. What Qt plays through depends on its version, which is known once it is installed.
install_for_running() {
    install_missing building running "$@"
    ! pkg-config --exists "Qt6Multimedia < 6.5" 2>/dev/null || install_missing gstreamer
}

# list_missing PACKAGE...: those that are not installed, one a line.
list_missing() {
    local package installed
    # Unknown packages go to standard error and into the status; the others are still listed.
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
