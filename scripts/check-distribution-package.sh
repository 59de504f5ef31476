# The part of check-distribution that installs, checks and removes the package. Sourced by it.
# shellcheck shell=bash disable=SC2154  # its variables and functions

# check_with_lintian: with the release's own, whose rules are those of its archive.
check_with_lintian() {
    logged lintian-install in_system apt-get install -y --no-install-recommends lintian
    cp "$package" "$root/tmp/"
    # With --fail-on an overridden tag counts as well.
    in_system lintian --allow-root --display-info --show-overrides "/tmp/$(basename "$package")" \
        >"$results/lintian.log" || true
    cat "$results/lintian.log"
    ! grep -q '^[EW]:' "$results/lintian.log" || die "lintian finds errors or warnings"
}

list_packages() {
    # shellcheck disable=SC2016  # dpkg-query fills it in
    in_system dpkg-query --show --showformat '${Package}\n' | sort
}
# Logs, caches and the package tools' own books are no traces of a program.
list_files() {
    (cd "$root" && find . -xdev \( -path ./proc -o -path ./dev/pts -o -path ./var/log -o -path ./var/cache \
        -o -path ./var/lib/dpkg -o -path ./var/lib/apt -o -path ./tmp \) -prune \
        -o -printf '%P %y %m %l\n' | LC_ALL=C sort)
}

# install_it TOOLS APT_OPTION...: a copy of the fresh system with TOOLS, and the package.
install_it() {
    local tools=$1 unwanted
    shift
    enter_system
    # shellcheck disable=SC2086  # a list
    [[ -z $tools ]] || in_system apt-get install -y --no-install-recommends $tools \
        >"$work/apt.log" 2>&1
    list_packages >"$work/packages-before"
    list_files >"$work/files-before"

    cp "$package" "$root/tmp/"
    in_system apt-get install -y "$@" "/tmp/$(basename "$package")" >"$work/apt.log" 2>&1 ||
        { cat "$work/apt.log" && return 1; }
    list_packages >"$work/packages-with"
    echo "Came with it:"
    comm -13 "$work/packages-before" "$work/packages-with" | fmt -w 100
    unwanted=$(printf '%s\n' "${packages_for_building[@]}" | sort | comm -12 - "$work/packages-with")
    [[ -z $unwanted ]] || die "packages for building are installed: $unwanted"
}

# remove_it: purges the package, then what came with it, and compares what is left.
remove_it() {
    local left
    in_system apt-get purge -y quorvel >/dev/null 2>&1
    echo "Left of it after apt purge quorvel (nothing but the user's own is expected):"
    left=$(cd "$root" && find . -xdev -path ./proc -prune -o -iname '*quorvel*' \
        ! -path "./tmp/*" -print)
    echo "${left:-nothing}"
    ! grep -v -e "^.$home/" -e '^$' <<<"$left" || die "the package left something behind"

    # In databases that are made from many packages' files it is a name no longer either.
    ! grep -rl --exclude-dir=dpkg --exclude-dir=apt quorvel "$root/etc" "$root/usr" "$root/var/lib" ||
        die "the package is still mentioned"

    # What came with it, but that something else recommends, would stay otherwise.
    in_system apt-get autoremove -y --purge -o APT::AutoRemove::RecommendsImportant=false \
        -o APT::AutoRemove::SuggestsImportant=false >/dev/null 2>&1
    list_packages | diff "$work/packages-before" - || die "packages are left behind"
    list_files >"$work/files-after"
    echo "Different from before, once what came with it is gone too:"
    left=$(diff "$work/files-before" "$work/files-after" | grep '^[<>]' || true)
    echo "${left:-nothing}"
    leave_system
}

