# The part of check-distribution that compares fingerprints. Sourced by it.
# shellcheck shell=bash disable=SC2154  # its variables and functions

# compare_fingerprints: fingerprints the demo collection and what the test suite made, here and in
# the fresh system, and compares the words; then searches there with every other fingerprint of the
# store that was made here, so that old ones meet new ones.
compare_fingerprints() {
    title "Fingerprints of this system and of $release"
    local media=$work/media seeded=(build/testmedia/*)
    ((${#seeded[@]} >= 200)) || die "build/testmedia has no 200 files; run scripts/test first"
    mkdir -p "$media/suite"
    cp -a "$work/fresh$home/Music" "$work/fresh$home/Old backup" "$media/"
    cp -a "${seeded[@]}" "$media/suite/"
    # A store knows files by their paths and times, of which a copy has others.
    mkdir -p "$root$media"
    mount --bind "$media" "$root$media"

    rm -f "$results"/*.store "$results"/groups-*.json
    fingerprint_media scripts/run "$results/here.store" >"$results/groups-here.json"
    fingerprint_media "in_system $tree/scripts/run" /tmp/there.store >"$results/groups-there.json"
    mv "$root/tmp/there.store" "$results/there.store"
    cp "$results/here.store" "$root/tmp/mixed.store"
    python3 -c 'import sqlite3, sys
with sqlite3.connect(sys.argv[1]) as store:
    store.execute("DELETE FROM files WHERE rowid % 2")' "$root/tmp/mixed.store"
    fingerprint_media "in_system $tree/scripts/run" /tmp/mixed.store >"$results/groups-mixed.json"

    scripts/compare-stores "$results/here.store" "$results/there.store" ||
        die "some files were read on one of the two systems only"
    compare_groups here there
    compare_groups there mixed
}

# fingerprint_media COMMAND STORE: searches the media with COMMAND and STORE; prints JSON.
fingerprint_media() {
    # shellcheck disable=SC2086  # a command and its arguments
    $1 --cli --quiet --format json --store "$2" "$work/media"
}

# compare_groups NAME OTHER: prints whether two searches found the same.
compare_groups() {
    local name groups=()
    for name; do
        groups+=("$(python3 -c 'import json, sys
for group in json.load(sys.stdin)["groups"]:
    print(group["reference"]["path"], *((d["path"], d["similarity"]) for d in group["duplicates"]))' \
            <"$results/groups-$name.json")")
    done
    if [[ ${groups[0]} == "${groups[1]}" ]]; then
        echo "duplicates $1 and $2: the same, in $(wc -l <<<"${groups[0]}") groups"
    else
        echo "duplicates $1 and $2 differ:"
        diff <(echo "${groups[0]}") <(echo "${groups[1]}") || true
    fi
}
