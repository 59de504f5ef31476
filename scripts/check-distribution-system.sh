# The part of check-distribution that makes the fresh system and runs commands in it. Sourced by it.
# shellcheck shell=bash disable=SC2154  # its variables and functions

# debootstrap_script: the one of $release, or of one like it that this system's debootstrap knows.
debootstrap_script() {
    local folder=/usr/share/debootstrap/scripts
    if [[ -e $folder/$release ]]; then
        echo "$folder/$release"
    elif [[ $release == noble ]]; then
        echo "$folder/jammy"
    else
        echo "$folder/sid"
    fi
}

# release_sources: a line for each suite of $release: of Debian from where this system's apt gets its
# own, of Ubuntu from where debootstrap does.
release_sources() {
    local own mirror
    if [[ $release == noble ]]; then
        mirror=$(grep --only-matching --max-count=1 'http://archive[^ ]*' "$(debootstrap_script)")
        printf 'deb %s main universe\n' "$mirror noble" "$mirror noble-updates" "$mirror noble-security"
        return
    fi
    own=$(. /etc/os-release && echo "$VERSION_CODENAME")
    # shellcheck disable=SC2016  # apt fills them in
    apt-get indextargets --format '$(ORIGIN) deb $(REPO_URI) $(RELEASE) $(COMPONENT)' \
        'Created-By: Packages' | sort -u |
        sed -n "s/^Debian \(deb .* \)$own\([^ ]* main\)\$/\1$release\2/p" | suites_of_release
}
# suites_of_release: keeps the suites that $release has. One that is still being made has only the
# main one, whose index may be past its validity where the mirror is some days behind.
suites_of_release() {
    if [[ $release == forky ]]; then
        sed -n 's/^deb \(.* forky main\)$/deb [check-valid-until=no] \1/p'
    else
        cat
    fi
}

make_system() {
    local mirror options=(--variant=minbase)
    mirror=$(release_sources | sed -n "s/^deb .*\(http[^ ]*\) $release main.*\$/\1/p" | head -n 1)
    [[ -n $mirror ]] || die "there is no mirror of $release"
    # Debian 12 has no keys of Ubuntu; Ubuntu's own apt has, and checks what it installs later.
    [[ $release != noble ]] || options+=(--no-check-gpg)
    logged debootstrap debootstrap "${options[@]}" "$release" "$work/fresh" "$mirror" \
        "$(debootstrap_script)"
    rm -f "$work"/fresh/etc/apt/sources.list.d/*
    release_sources >"$work/fresh/etc/apt/sources.list"
    cp /etc/resolv.conf "$work/fresh/etc/"
    chroot "$work/fresh" apt-get update >/dev/null
    chroot "$work/fresh" useradd --create-home --uid 1000 anna
    mkdir -p "$work/fresh/run/user/1000"
    chown 1000:1000 "$work/fresh/run/user/1000"
    chmod 700 "$work/fresh/run/user/1000"
    scripts/make-demo-collection "$work/fresh$home"
    chown -R 1000:1000 "$work/fresh$home"
}

# enter_system: makes $root a copy of the fresh system, in which commands can run.
enter_system() {
    leave_system
    rm -rf --one-file-system "$root"
    cp -a "$work/fresh" "$root"
    mount -t proc proc "$root/proc"
    mount -t devpts devpts "$root/dev/pts"
    # Some tests make file systems of their own.
    [[ ! -e /dev/fuse ]] || mknod "$root/dev/fuse" c 10 229
}
leave_system() {
    umount "$root$work/media" 2>/dev/null || true
    umount "$root/dev/pts" "$root/proc" 2>/dev/null || true
}

clone_tree() {
    git clone --quiet --no-hardlinks "$project_dir" "$root$tree"
    git -C "$root$tree" log -1 --format='Tried is %h, %s'
}

in_system() {
    chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 HOME=/root \
        DEBIAN_FRONTEND=noninteractive "$@"
}
# as_anna COMMAND...: as an ordinary user who sees the screen, and the sound server if $sound is set.
as_anna() {
    chroot --userspec=1000:1000 "$root" /usr/bin/env -i -C "$home" PATH=/usr/bin:/bin \
        LC_ALL=C.UTF-8 HOME="$home" USER=anna XDG_RUNTIME_DIR=/run/user/1000 DISPLAY="$DISPLAY" \
        ${sound:+PULSE_SERVER=unix:/run/sound} "$@"
}
