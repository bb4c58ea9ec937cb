#!/bin/sh
# agrees-with-page.sh PAGE COMMAND...: runs a command; what it prints, but for the time that it took, must stand in the
# page as it is.
page=$1
shift
printed=$("$@") || {
    printf '%s\n' "$printed"
    exit 1
}
printf '%s\n' "$printed"
lasting=$(printf '%s\n' "$printed" | grep -v '^time ')
case $(cat "$page") in
    *"$lasting"*) ;;
    *)
        echo "$page does not say so" >&2
        exit 1
        ;;
esac
