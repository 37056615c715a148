#!/bin/bash
# What a client reads under a real scheduler, and jobs that go wrong.
# Run it as: script/private-scheduler run tests/scheduler_test.sh
set -uo pipefail
scheduler=$(dirname "$(readlink -f "$0")")/../script/private-scheduler
passed=0 failed=0

expect() { # WHAT EXPECTED ACTUAL
  if [ "$2" = "$3" ]; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    printf 'FAILED: %s\nexpected: %s\nactual:   %s\n' "$@"
  fi
}

# The attributes of a report: level, message, name, and the numbers of the reasons that hold.
# Without a level, those of a queue that has no report of its markers yet.
report() {
  echo "printer-state-reasons=${4:-none}" | sed 's/\<\([0-9]\{4\}\)\>/com.corvantide-error\1/g'
  if [ -n "$1" ]; then
    printf 'marker-%s\n' 'colors=#00FF00' "levels=$1" "message=$2" "names=$3" 'types=ink-ribbon'
  fi
}

submit() { # QUEUE COMMAND...
  "$scheduler" submit "$1" <(printf '%s\n' '#CUPS-COMMAND' "${@:2}")
}

# The filter's file is left out: an ordinary user cannot give it to root, as the check wants.
expect "the sample PPD" "$PPD: PASS" "$(cupstestppd -I filters "$PPD")"
expect "nobody else gets in" 700 "$(stat -c %a "$PRIVATE_SCHEDULER")"
expect "a refused printer" "private-scheduler: \"bidi\" in the URI is for a job's back end only" \
  "$("$scheduler" queue refused 'virtual-printer://test/?bidi=no' socket 2>&1)"

exec {told}< <(exec "$VIRTUAL_PRINTER" --listen 0 virtual-printer://test/ 2>/dev/null)
IFS=:/ read -r _ _ _ address port _ <&"$told"
expect "a network printer answers" 192 \
  "$(exec {line}<>"/dev/tcp/$address/$port" && printf '\033V21' >&"$line" && head -c 192 <&"$line" | wc -c)"
kill -s INT $!
wait $!
expect "Ctrl-C ends it" 0 $?

# queue | via | printer | commands | level | message | name | reasons | filter's end | job's end, where it is sure | what the log holds
cases='
good     |job socket usb|                      |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|    |no errors|completed|
above    |job           |remaining=500&sheet=ff|both  |125|Ink Ribbon = 500 / 400|                         |    |no errors|completed|
unknown  |job           |remaining=65535       |both  |-1 |                      |InkSheetType: 13x18(5x7″)|    |no errors|completed|
keyword  |job           |error=3a0a0f          |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|0014|no errors|completed|
undefined|job           |error=060203          |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|0023|no errors|completed|encountered undefined error number (0x06,0x02,0x03)
sheet-0f |job           |sheet=0f              |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 15x20(6x8″)|    |no errors|completed|ink_sheet_type=0x0f
nobidi-l |job           |bidi=no&error=060202  |levels|-2 |                      |InkSheetType: 00         |    |no errors|completed|
nobidi-s |job           |bidi=no&error=060202  |status|   |                      |                         |0023|no errors|completed|
chatter  |job           |chatter=yes           |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|    |no errors|completed|virtual-printer: line 1000
code     |socket usb    |error=060202          |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|0001|no errors|completed|virtual-printer: received 1b 56 32 31
asleep   |job socket usb|asleep=2              |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|    |no errors|completed|#retry_status=[wake_up=fulfilled(2/60)]
pieces   |socket usb    |pieces=100&gap=300    |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|    |no errors|completed|[STS] size=192
longest  |socket usb    |extra=320             |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|    |no errors|completed|[STS] size=512
silent   |job socket usb|silence=0             |both  |-2 |                      |InkSheetType: 00         |0023|no errors|completed|cupsBackChannelRead() failed. ret=-1
die-start|job           |die=start             |both  |   |                      |                         |    |status 1 |aborted  |
die-awake|job           |die=wake-up           |both  |-2 |                      |InkSheetType: 00         |0023|no errors|aborted  |fflush() failed.
die-awake|socket usb    |die=wake-up           |both  |-2 |                      |InkSheetType: 00         |0023|no errors|         |Unable to
die-reply|job           |die=reply             |both  |-2 |                      |InkSheetType: 00         |0023|no errors|aborted  |cupsBackChannelRead() failed. ret=0
die-reply|socket usb    |die=reply             |both  |-2 |                      |InkSheetType: 00         |0023|no errors|         |96 bytes of back-channel data
'
each_case() {
  local name vias via
  while IFS='|' read -r name vias query file level message sheet reasons filter_end job_end log; do
    read -r level <<<"$level"
    for via in $vias; do
      queue=$name-$via
      "$1"
    done
  done < <(sed 's/ *|/|/g' <<<"$cases")
}

declare -A job words=([both]='ReportLevels ReportStatus' [levels]=ReportLevels [status]=ReportStatus)
submit_case() {
  "$scheduler" queue "$queue" "virtual-printer://test/${query:+?$query}" "$via"
  # shellcheck disable=SC2086  # a command each
  job[$queue]=$(submit "$queue" ${words[$file]})
}
check_case() {
  local end lines
  end=$("$scheduler" wait "${job[$queue]}")
  expect "$queue: how its job ends" "${job[$queue]} ${job_end:-${end#* }}" "$end"
  lines=$("$scheduler" log "${job[$queue]}")
  expect "$queue: how the filter ends" "$filter_end" \
    "$(sed -n 's/.*commandtocorvantide) \(exited\|stopped\|crashed\) \(with\|on\) \(.*\)\./\3/p' <<<"$lines")"
  expect "$queue: its log has \"$log\"" 0 "$(grep -qF -- "$log" <<<"$lines"; echo $?)"
  expect "$queue: what a client reads" \
    "$(report "$level" "${message:- }" "${sheet:- }" "$reasons")" "$("$scheduler" attributes "$queue")"
}
each_case submit_case
each_case check_case
# Beside a back end that logs without pause, the log is that of a run without a scheduler.
alone=$(printf '%s\n' '#CUPS-COMMAND' ReportLevels ReportStatus |
  "$VIRTUAL_PRINTER" --run virtual-printer://test/ "$FILTER" 1 2 3 4 5 2>&1 |
  sed '/virtual-printer: /d; s/^DEBUG: //; s/"/\\"/g')
others='^virtual-printer: \|^PID [0-9]* (\|^time-at-\|^Job completed\|oading.*\.\.\.$'
expect "chatter: lines whole and in order" "$alone" \
  "$("$scheduler" log "${job[chatter-job]}" | sed '1,/^Started backend/d' | grep -v "$others")"

# One queue through all kinds of state: the vendor's reasons always match, and another's stays.
"$scheduler" queue turns virtual-printer://test/
lpadmin -p turns -o printer-state-reasons=media-low-warning
turns='error=090202:0002 error=0a0505:0010 remaining=9: die=start: bidi=no:0023 remaining=8:'
for turn in $turns die=wake-up:0023 error=110606:0024; do
  query=${turn%:*} reason=${turn#*:}
  "$scheduler" queue turns "virtual-printer://test/?$query"
  "$scheduler" wait "$(submit turns ReportStatus)" >/dev/null
  expect "the reasons after $query" "$(report "" "" "" "media-low-warning${reason:+,$reason}")" \
    "$("$scheduler" attributes turns | grep reasons)"
done

# A job cancelled amid a query that never ends: the filter goes when it is told to, and is not killed.
"$scheduler" queue sleeper 'virtual-printer://test/?asleep=1000'
sleeper=$(submit sleeper ReportStatus)
until [[ $("$scheduler" log "$sleeper" 2>&1) == *'retrying(1/60)'* ]]; do sleep 0.1; done
cancel "$sleeper"
until [[ $("$scheduler" log "$sleeper") == *commandtocorvantide\)\ * ]]; do sleep 0.1; done
expect "a cancelled job's filter" "was terminated normally with signal 15." \
  "$("$scheduler" log "$sleeper" | sed -n 's/.*commandtocorvantide) //p')"
expect "a job is cancelled" "$sleeper canceled" "$("$scheduler" wait "$sleeper")"
echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
