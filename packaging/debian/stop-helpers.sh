helper=@AEROVANE_HELPER@

# The ids of the processes that run the helper of this package, before or after it was replaced. A container that has
# the same package has another file.
helpers() {
  installed=$(stat -Lc %d:%i "$helper" 2>/dev/null || true)
  for process in /proc/[0-9]*; do
    case $(readlink "$process/exe" 2>/dev/null || true) in
      "$helper") [ "$(stat -Lc %d:%i "$process/exe" 2>/dev/null || true)" = "$installed" ] || continue ;;
      "$helper (deleted)") ;;
      *) continue ;;
    esac
    echo "${process#/proc/}"
  done
}

# A helper that is told to end hands its fans back first. What does not answer is killed, and its fans are handed back
# by the same program for the same machine and user.
stop_helper() {
  kill -TERM "$1" 2>/dev/null || return 0
  # Or it would not notice while it is stopped.
  kill -CONT "$1" 2>/dev/null || return 0
  waited=0
  while kill -0 "$1" 2>/dev/null; do
    if [ "$waited" -ge 300 ]; then
      arguments=$(mktemp)
      cat "/proc/$1/cmdline" >"$arguments" 2>/dev/null || true
      owner=$(stat -c %u "/proc/$1" 2>/dev/null || echo 0)
      group=$(stat -c %g "/proc/$1" 2>/dev/null || echo 0)
      kill -KILL "$1" 2>/dev/null || true
      # The program's mode may have been taken away by the caller.
      mode=$(stat -c %a "$helper" 2>/dev/null || true)
      [ -z "$mode" ] || chmod 0755 "$helper"
      chmod 0644 "$arguments"
      xargs -0 -a "$arguments" setpriv --reuid="$owner" --regid="$group" --clear-groups \
        /bin/sh -c 'shift; exec "$0" "$@" --release-all' "$helper" || true
      [ -z "$mode" ] || chmod "$mode" "$helper"
      rm -f "$arguments"
      return 0
    fi
    sleep 0.1
    waited=$((waited + 1))
  done
}

stop_helpers() {
  if [ -d /run/systemd/system ]; then
    deb-systemd-invoke stop aerovane-helper.service >/dev/null || true
  fi
  for process in $(helpers); do
    stop_helper "$process"
  done
}
