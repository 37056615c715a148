#!/bin/bash
# Tests the filter under a real scheduler: what a client reads, and jobs that fail.
# Usage: script/private-scheduler run tests/scheduler_test.sh
set -uo pipefail
project=$(dirname "$(readlink -f "$0")")/..
scheduler=$project/script/private-scheduler ppd=$project/share/corvantide-ribbon.ppd
passed=0 failed=0

expect() { # WHAT EXPECTED ACTUAL
  if [ "$2" = "$3" ]; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    printf 'FAILED: %s\nexpected: %s\nactual:   %s\n' "$@"
  fi
}

# The attributes of a queue. Without a level, it has had no report of its marker.
report() { # LEVEL|none NUMBER-OF-THE-REASON
  local message=' ' sheet='13x18(5x7″)'
  case $1 in
    30) message='Ink Ribbon = 120 / 400' ;;
    -2) sheet=00 ;;
  esac
  [ "$1" = none ] || printf 'marker-%s\n' 'colors=#00FF00' "levels=$1" "message=$message" \
    "names=InkSheetType: $sheet" 'types=ink-ribbon'
  echo "printer-state-reasons=${2:-none}" | sed 's/=0/=com.corvantide-error0/'
}

submit() { # QUEUE COMMAND...
  "$scheduler" submit "$1" <(printf '%s\n' '#CUPS-COMMAND' "${@:2}")
}

# If the text does not come, the comparison that follows fails.
wait_for_log() { # JOB TEXT
  local deadline=$((SECONDS + 120))
  until [[ $("$scheduler" log "$1" 2>&1) == *"$2"* || $SECONDS -ge $deadline ]]; do sleep 0.1; done
}

expect "the sample PPD" "$ppd: PASS" "$(cupstestppd -I filters "$ppd")"
expect "the mode of the scheduler's directory" 700 "$(stat -c %a "$PRIVATE_SCHEDULER")"

exec {uri}< <(exec "$BUILD_DIR/virtual-printer" --listen 0 virtual-printer://test/)
IFS=:/ read -r _ _ _ _ port _ <&"$uri"
expect "the address of a network printer" 0100007F \
  "$(sed -n "s/.* \(.*\):$(printf %04X "$port") 00000000:0000 0A .*/\1/p" /proc/net/tcp)"
kill $!

# An empty cell means the default in parentheses:
# queue | attached through | settings | level (30) | reasons (none) | text in the log |
#   state of the job (completed) | exit of the filter (no errors)
cases='
good     |job socket usb|
unknown  |job           |remaining=65535    |-1
nobidi   |job           |bidi=no            |-2  |0023|
code     |socket usb    |error=060202       |    |0001|virtual-printer: received 1b 56 32 31
asleep   |job socket usb|asleep=2           |    |    |#retry_status=[wake_up=fulfilled(2/60)]
pieces   |socket usb    |pieces=100&gap=300 |    |    |[STS] size=192
longest  |socket usb    |extra=320          |    |    |[STS] size=512
silent   |job socket usb|silence=0          |-2  |0023|cupsBackChannelRead() failed. ret=-1
die-start|job           |die=start          |none|    ||aborted|stopped with status 1.
die-awake|job           |die=wake-up        |-2  |0023|fflush() failed.|aborted
die-awake|socket usb    |die=wake-up        |-2  |0023|Unable to|any
die-reply|job           |die=reply          |-2  |0023|cupsBackChannelRead() failed. ret=0|aborted
die-reply|socket usb    |die=reply          |-2  |0023|96 bytes of back-channel data|any
'
each_case() {
  local name vias via
  while IFS='|' read -r name vias settings level reasons text state exit; do
    for via in $vias; do
      queue=$name-$via
      "$1"
    done
  done < <(sed 's/ *|/|/g' <<<"$cases")
}

declare -A job
submit_case() {
  "$scheduler" queue "$queue" "virtual-printer://test/${settings:+?$settings}" "$via"
  job[$queue]=$(submit "$queue" ReportLevels ReportStatus)
}
check_case() {
  local end log before=$failed
  end=$("$scheduler" wait "${job[$queue]}")
  [ "$state" = any ] || expect "$queue: its job" "${job[$queue]} ${state:-completed}" "$end"
  log=$("$scheduler" log "${job[$queue]}")
  expect "$queue: exit of the filter" "${exit:-exited with no errors.}" \
    "$(sed -n 's/.*commandtocorvantide) //p' <<<"$log")"
  expect "$queue: its log has \"$text\"" 0 "$(grep -qF -- "$text" <<<"$log"; echo $?)"
  expect "$queue: what a client reads" "$(report "${level:-30}" "$reasons")" \
    "$("$scheduler" attributes "$queue")"
  [ "$failed" -eq "$before" ] || echo "$log"
}
each_case submit_case
each_case check_case

# One queue: the vendor's reasons always match the printer, and a reason of another program stays.
"$scheduler" queue states virtual-printer://test/
lpadmin -p states -o printer-state-reasons=media-low-warning
for state in error=090202:0002 error=0a0505:0010 remaining=9: die=start: bidi=no:0023 remaining=8: \
  die=wake-up:0023 error=110606:0024; do
  settings=${state%:*} reason=${state#*:}
  "$scheduler" queue states "virtual-printer://test/?$settings"
  "$scheduler" wait "$(submit states ReportLevels ReportStatus)" >/dev/null
  expect "the reasons after $settings" \
    "printer-state-reasons=media-low-warning${reason:+,com.corvantide-error$reason}" \
    "$("$scheduler" attributes states | grep reasons)"
done

# A job is canceled during a query of a minute: SIGTERM ends the filter, which is not killed.
"$scheduler" queue sleeper 'virtual-printer://test/?asleep=1000'
sleeper=$(submit sleeper ReportStatus)
wait_for_log "$sleeper" 'retrying(1/60)'
cancel "$sleeper"
wait_for_log "$sleeper" 'commandtocorvantide) '
expect "a canceled job's filter" "was terminated normally with signal 15." \
  "$("$scheduler" log "$sleeper" | sed -n 's/.*commandtocorvantide) //p')"
expect "a canceled job" "$sleeper canceled" "$("$scheduler" wait "$sleeper")"
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
