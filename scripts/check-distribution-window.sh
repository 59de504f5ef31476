# The part of check-distribution that uses the programs: a screen, a sound server that plays into nothing,
# and a hand that types and clicks. Sourced by it.
# shellcheck shell=bash disable=SC2154  # its variables and functions

# open_screen: a screen with a window manager, which people in the fresh system see as theirs. X
# clients find it by a name that is not a file's.
open_screen() {
    Xvfb -displayfd 3 -screen 0 1280x1024x24 -ac -nolisten tcp 3>"$work/display" \
        2>"$work/screen.log" &
    for ((attempt = 0; attempt < 300; attempt++)); do
        [[ ! -s $work/display ]] || break
        sleep 0.1
    done
    [[ -s $work/display ]] || die "there is no screen: $(cat "$work/screen.log")"
    DISPLAY=:$(<"$work/display")
    export DISPLAY
    HOME=$work openbox --sm-disable >/dev/null 2>&1 &
}

# open_sound: a sound server whose socket is in the fresh system; sets $sound.
open_sound() {
    sound=$root/run/sound
    HOME=$work XDG_RUNTIME_DIR=$work pulseaudio -n --daemonize=no --exit-idle-time=-1 \
        --system=false -L "module-native-protocol-unix socket=$sound auth-anonymous=1" \
        -L "module-null-sink sink_name=null rate=48000" 2>"$work/sound.log" &
    for ((attempt = 0; attempt < 100; attempt++)); do
        [[ ! -S $sound ]] || return 0
        sleep 0.1
    done
    cat "$work/sound.log" >&2
    die "no sound server"
}
# streams: how many programs are playing.
streams() {
    PULSE_SERVER=unix:$sound pactl list short sink-inputs | wc -l
}

# window TITLE: the id of the window with that title, or nothing.
window() {
    xdotool search --onlyvisible --name "^$1\$" 2>/dev/null | head -n 1 || true
}
await_window() {
    for ((attempt = 0; attempt < 300; attempt++)); do
        [[ -z $(window "$1") ]] || return 0
        sleep 0.1
    done
    picture lost
    die "there is no window \"$1\""
}
picture() {
    sleep 1
    import -window root "$results/$label-$1.png"
}
# press KEY...: as typed into the window that has the focus.
press() {
    xdotool key --delay 60 "$@"
    sleep 0.3
}
# tab_to TITLE: goes on from widget to widget and presses each until the window opens.
tab_to() {
    for ((step = 0; step < 20; step++)); do
        press Tab space
        for ((wait = 0; wait < 10; wait++)); do
            sleep 0.2
            [[ -z $(window "$1") ]] || return 0
        done
        # A list that has popped up.
        [[ -z $(xdotool search --onlyvisible --class quorvel 2>/dev/null | sed -n 2p) ]] ||
            press Escape
    done
    picture lost
    die "no button opens \"$1\""
}
# await_idle PID: until the program has used no processor for three seconds.
await_idle() {
    local before=x now still=0
    while ((still < 3)); do
        sleep 1
        now=$(awk '{ print $14 + $15 }' "/proc/$1/stat")
        if ((${before/x/-9} + 3 >= now)); then still=$((still + 1)); else still=0; fi
        before=$now
    done
}

use_command_line() {
    as_anna quorvel-cli --version
    as_anna quorvel-cli --store "$home/store.db" --against "$home/Old backup" "$home/Music" |
        tee "$work/found" | tail -n 1
    grep -qx '10 duplicate audio files found.' "$work/found" || die "quorvel-cli did not find them"
    rm "$root$home/store.db"
}

add_folder() {
    tab_to "Add folder"
    xdotool type --delay 30 "$1"
    press Return
    for ((attempt = 0; attempt < 50; attempt++)); do
        [[ -n $(window "Add folder") ]] || return 0
        sleep 0.2
    done
    picture lost
    die "the folder $1 is not taken"
}

# use_window LABEL COMMAND...: starts the program, searches two folders, plays a row, deletes the
# duplicates and quits.
use_window() {
    label=$1
    shift
    as_anna "$@" >"$work/output" 2>&1 &
    await_window Quorvel
    pid=$(pgrep -x quorvel)
    xdotool windowactivate --sync "$(window Quorvel)"
    picture start
    # Desktops find the entry, and with it name and icon, by the window's class.
    class=$(sed -n 's/^StartupWMClass=//p' "$root/usr/share/applications/quorvel.desktop")
    [[ $(xdotool search --onlyvisible --class "^$class\$") == "$(window Quorvel)" ]] ||
        die "the window is not of the class that the desktop entry names"

    add_folder "$home/Music"
    add_folder "$home/Old backup"
    picture folders
    # The remaining widgets of the second group, then "Find duplicates".
    press Tab Tab Tab space
    await_idle "$pid"
    picture found
    play_a_row
    delete_them
    press alt+F4
    for ((attempt = 0; attempt < 100; attempt++)); do
        kill -0 "$pid" 2>/dev/null || break
        sleep 0.1
    done
    ! kill -0 "$pid" 2>/dev/null || die "the window does not close"
    echo "Its messages, and how often:"
    sort "$work/output" | uniq --count
}

# play_a_row: double-clicks down the window until something is heard, or, without a sound server,
# where a row was heard last.
play_a_row() {
    local x y
    xdotool windowactivate --sync "$(window Quorvel)"
    eval "$(xdotool getwindowgeometry --shell "$(window Quorvel)" | grep -E '^[XY]=')"
    x=$((X + 300))
    for ((y = Y + 330; y < Y + 600; y += 15)); do
        xdotool mousemove "$x" "$y" click --repeat 2 --delay 80 1
        sleep 1.5
        [[ -d /proc/$pid ]] || die "the program is gone"
        [[ -z $sound ]] || (($(streams) == 0)) || break
    done
    if [[ -n $sound ]]; then
        (($(streams) > 0)) || die "nothing is heard"
        echo "Heard: $(streams) stream"
    fi
    picture playing
}

# delete_them: all that was found, which the dialog has ticked; one Tab leads from the list to the
# button.
delete_them() {
    local before after
    tab_to "Delete Duplicates"
    picture delete
    before=$(count_music)
    press Tab space
    await_idle "$pid"
    picture deleted
    after=$(count_music)
    echo "Files of music before and after deleting: $before, $after"
    ((before - after == 10)) || die "not just the ten duplicates were deleted"
    press alt+F4
}
count_music() {
    find "$root$home/Music" "$root$home/Old backup" -type f | wc -l
}
