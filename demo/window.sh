# shellcheck shell=bash
# To be sourced: presses the updater's buttons on a display of its own. The script defines fail(), and sets
# `board` to the process of the virtual board, which starts the updater.

main_title="Brivan Annealing DB bootlodaer"
dialog_title="BRIVAN ANNEALING DB Firmware Update"
board=

# button_of JOB: the centre of the job's button within the main window; fails for anything but a job.
button_of() {
    case $1 in
    update) echo 195 52 ;;
    images) echo 190 123 ;;
    erase) echo 190 163 ;;
    *) return 1 ;;
    esac
}

# start_display SECONDS LOG: a display with a window manager until the script ends.
start_display() {
    local pipe number
    trap cleanup EXIT
    exec {pipe}<> <(:)
    # Without -noreset the server starts over when its first client goes, and disconnects the next one.
    Xvfb -displayfd "$pipe" -screen 0 800x600x24 -nolisten tcp -noreset 2>"$2" &
    server=$!
    read -r -t "$1" number <&"$pipe" || fail "the display did not come up"
    export DISPLAY=":$number" QT_QPA_PLATFORM=xcb
    openbox >/dev/null 2>&1 &
    window_manager=$!
    # A window that comes up while the window manager does can stay hidden for good.
    board=$window_manager
    wait_for "$1" wmctrl -m || fail "the window manager did not start"
}

cleanup() {
    local pid
    for pid in $board ${window_manager-} ${server-}; do
        kill "$pid" 2>/dev/null || true
    done
    wait 2>/dev/null || true
}

# wait_for SECONDS COMMAND...: until the command succeeds; fails when the time is up or the process of
# the board has ended.
wait_for() {
    local end=$((SECONDS + $1))
    shift
    until "$@" >/dev/null 2>&1; do
        [ "$SECONDS" -lt "$end" ] && kill -0 "$board" 2>/dev/null || return 1
        sleep 0.1
    done
}

window_id() { xdotool search --onlyvisible --name "$1"; }
closed() { ! window_id "$1"; }

# find_main_window SECONDS: sets `main`, the window, and `updater`, the process.
find_main_window() {
    wait_for "$1" window_id "$main_title" || fail "the main window did not come up"
    main=$(window_id "$main_title" | tail -n 1)
    # shellcheck disable=SC2034 # for the script
    updater=$(pgrep -P "$board" | head -n 1) || fail "the program is not there"
    sleep 0.5 # a first paint
}

# press_button JOB SECONDS: opens the update dialog.
press_button() {
    # shellcheck disable=SC2046 # two words
    xdotool mousemove --window "$main" $(button_of "$1") click 1
    wait_for "$2" window_id "$dialog_title" || fail "the update dialog did not come up"
}

# Asks again until the window is closed: under load the window manager can miss the first request.
close_again() {
    closed "$1" && return
    wmctrl -c "$1"
    sleep 0.5
    closed "$1"
}

# close_dialog SECONDS
close_dialog() { wait_for "$1" close_again "$dialog_title" || fail "the update dialog did not close"; }
