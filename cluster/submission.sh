# What the scripts for Slurm and for GNU parallel share: their options, the files of a run that they
# make, and how far it is. Sourced, not run.
# shellcheck shell=bash disable=SC2034,SC2154  # step reads most variables; "usage" is that of either
submission_folder=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd -P)
step=$submission_folder/step
# shellcheck source=cluster/step
source "$step"

common_usage="  --scratch FOLDER     A folder that all machines see under this name, for what is done already.
  --shards N           Divide the files into N parts.
  --against FOLDER     Compare the FOLDERs with this one, as in quorvel-cli. Can be repeated.
  --fingerprint=OPTION Give quorvel-cli fingerprint this option: --ext, --exclude. Can be repeated.
  --search=OPTION      Give quorvel-cli search this option, --threshold=90. Can be repeated.
  --output FILE        Write the result to FILE (default: SCRATCH/duplicates).
  --program FILE       Run this quorvel-cli (default: the one that each machine finds).
  --status             Show how far the run is, and start nothing.
  --again              Look at the folders again: for new and changed files.

Run again with the same folders, or with --scratch alone, it starts only what is missing."

fail_usage() {
    printf '%s\n%s\n' "$1" "$usage" >&2
    exit 2
}

# make_absolute NAME: into REPLY, as quorvel-cli does it. Not by a subshell, whose output would lose
# line breaks at the end of a name.
make_absolute() {
    REPLY=$1
    [[ $1 == /* ]] || REPLY=$(pwd -P)/$1
}

# parse_options ARGUMENT...: engine_option NAME VALUE takes the value of an option that only one of
# the engines has, and fails for others.
parse_options() {
    listing_options=() folders=() against=() search_options=()
    scratch='' shards='' output='' program='' only_status=false again=false
    while (($#)); do
        case $1 in
            --help | -h)
                printf '%s\n' "$usage"
                exit
                ;;
            --status) only_status=true ;;
            --again) again=true ;;
            --)
                shift
                take_folders "$@"
                break
                ;;
            --*=*)
                take_option "${1%%=*}" "${1#*=}"
                ;;
            -?*)
                (($# >= 2)) || fail_usage "$1 has no value."
                take_option "$1" "$2"
                shift
                ;;
            *) take_folders "$1" ;;
        esac
        shift
    done
    [[ -n $scratch ]] || fail_usage "No --scratch is given."
    is_continued=false
    if ((${#folders[@]} == 0)); then
        [[ -z $shards$output$program${listing_options[*]}${against[*]}${search_options[*]} ]] ||
            fail_usage "No FOLDER is given."
        is_continued=true
    elif ! [[ $shards =~ ^[1-9][0-9]{0,4}$ ]]; then
        fail_usage "--shards takes a whole number from 1 to 99999."
    fi
}

take_folders() {
    local folder
    for folder; do
        [[ -d $folder ]] || fail "No such folder: $folder"
        make_absolute "$folder"
        folders+=("$REPLY")
    done
}

take_option() {
    make_absolute "$2"
    case $1 in
        --scratch) scratch=$REPLY ;;
        --shards) shards=$2 ;;
        --against)
            [[ -d $2 ]] || fail "No such folder: $2"
            against+=("$REPLY")
            ;;
        --fingerprint) listing_options+=("$2") ;;
        --search) search_options+=("$2") ;;
        --output) output=$REPLY ;;
        --program)
            program=$2
            [[ $2 != */* ]] || program=$REPLY
            ;;
        *) engine_option "$1" "$2" || fail_usage "There is no option $1." ;;
    esac
}

# open_run: makes the files of the run, or continues the one that the scratch folder holds. From then
# on no other submission uses the folder.
open_run() {
    if $is_continued || $only_status; then
        [[ -e $scratch/run ]] || fail "$scratch is not the scratch folder of a run: give FOLDERs."
    fi
    $only_status || lock_run
    if ! $is_continued && ! $only_status; then
        write_run
    fi
    load_run
}

lock_run() {
    mkdir -p -- "$scratch/parts"
    exec {lock}>>"$scratch/lock"
    flock --nonblock "$lock" || fail "Another submission uses $scratch."
}

write_run() {
    local new=$scratch/run.new
    {
        printf 'shards=%s\0' "$shards"
        write_list listing "${listing_options[@]}"
        write_list folder "${folders[@]}"
        write_list against "${against[@]}"
    } >"$new"
    if [[ ! -e $scratch/run ]]; then
        put "$new" "$scratch/run"
    elif ! cmp --quiet -- "$new" "$scratch/run"; then
        rm -f -- "$new"
        fail "$scratch holds a run over other folders, of another number of shards, or with other" \
            "options for fingerprint. Give another --scratch, or remove that folder."
    fi
    {
        write_list program "${program:-quorvel-cli}"
        write_list search "${search_options[@]}"
        write_list output "${output:-$scratch/duplicates}"
    } >"$new"
    put "$new" "$scratch/settings"
    rm -f -- "$new"
    # For machines that do not have this folder.
    put "$step" "$scratch/step"
}

write_list() {
    local name=$1 item
    shift
    for item; do
        printf '%s=%s\0' "$name" "$item"
    done
}

# Removes what killed steps have left, and with --again the marks, so that each part is looked at
# again. Requires: no step runs.
tidy_up() {
    rm -f -- "$scratch"/parts/*.new "$scratch"/*.new
    if $again; then
        rm -f -- "$scratch"/parts/*.done
    fi
}

# list_missing: the parts that are not complete, one a line.
list_missing() {
    local number
    for ((number = 1; number <= shards; ++number)); do
        is_part_complete "$number" || echo "$number"
    done
}

# show_progress [K...]: the parts K are waiting or running.
show_progress() {
    local number missing=() merged=no result=no
    mapfile -t missing < <(list_missing)
    is_merged_complete && merged=yes
    is_result_complete && result=$output
    local -A busy=()
    for number; do
        busy[$number]=1
    done
    local active=() idle=()
    for number in "${missing[@]}"; do
        [[ -n ${busy[$number]-} ]] && active+=("$number") || idle+=("$number")
    done
    echo "Parts complete: $((shards - ${#missing[@]})) of $shards, waiting or running:" \
        "${#active[@]}, missing: ${#idle[@]}. Merged: $merged. Result: $result"
    if ((${#idle[@]})); then
        echo "Missing: ${idle[*]:0:20}$( ((${#idle[@]} <= 20)) || echo " ...")"
    fi
}
