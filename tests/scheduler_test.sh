#!/bin/bash
# What a client reads under a real scheduler, and jobs that go wrong.
# Run it as: script/private-scheduler run tests/scheduler_test.sh
set -uo pipefail
scheduler=$(cd "$(dirname "$0")/../script" && pwd)/private-scheduler
commands=$PRIVATE_SCHEDULER/commands
both=$commands/both
passed=0 failed=0

expect() {
  if [ "$2" = "$3" ]; then passed=$((passed + 1)) && return; fi
  failed=$((failed + 1))
  echo "FAILED: $1"
  diff <(echo "$2") <(echo "$3")
}

# The attributes of a report: level, message, name, and the numbers of the reasons that hold.
# Without a level, those of a queue that has no report of its markers yet.
report() {
  echo "printer-state-reasons=${4:-none}" | sed 's/\<\([0-9]\{4\}\)\>/com.corvantide-error\1/g'
  if [ -n "$1" ]; then
    printf 'marker-%s\n' 'colors=#00FF00' "levels=$1" "message=$2" "names=$3" 'types=ink-ribbon'
  fi
}

# The lines of a job's log that are the filter's own.
filter_lines() {
  "$scheduler" log "$1" | grep -v '^virtual-printer: ' |
    sed -n '/^wr_esc_wakeup() START/,$p' | sed '/^PID [0-9]* (\|^time-at-completed\|^Job completed\|oading.*\.\.\.$/d'
}

mkdir "$commands"
printf '#CUPS-COMMAND\nReportLevels\nReportStatus\n' >"$both"
printf '#CUPS-COMMAND\nReportLevels\n' >"$commands/levels"
printf '#CUPS-COMMAND\nReportStatus\n' >"$commands/status"

# The filter's file is left out: an ordinary user cannot give it to root, as the check wants.
expect "the sample PPD" "$PPD: PASS" "$(cupstestppd -W none -I filters "$PPD")"

# queue | via | printer | commands | level | message | name | reasons | what the log holds
cases='
good      |job       |                    |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|     |
keyword   |job       |error=3a0a0f        |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|0014 |
undefined |job       |error=060203        |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|0023 |encountered undefined error number (0x06,0x02,0x03)
sheet-0f  |job       |sheet=0f            |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 15x20(6x8″)|     |
sheet-05  |job       |sheet=05            |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 05         |     |
above     |job       |remaining=500&sheet=ff|both|125|Ink Ribbon = 500 / 400|                         |     |
unknown   |job       |remaining=65535     |both  |-1 |                      |InkSheetType: 13x18(5x7″)|     |
asleep    |job       |asleep=2            |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|     |#retry_status=[wake_up=fulfilled(2/60)]
nobidi-l  |job       |bidi=no&error=060202|levels|-2 |                      |InkSheetType: 00         |     |
nobidi-s  |job       |bidi=no&error=060202|status|   |                      |                         |0023 |
silent    |job       |silence=0           |both  |-2 |                      |InkSheetType: 00         |0023 |cupsBackChannelRead() failed. ret=-1
die-start |job       |die=start           |both  |   |                      |                         |     |commandtocorvantide) stopped with status 1.
die-awake |job       |die=wake-up         |both  |-2 |                      |InkSheetType: 00         |0023 |fflush() failed.
die-reply |job       |die=reply           |both  |-2 |                      |InkSheetType: 00         |0023 |cupsBackChannelRead() failed. ret=0
chatter   |job       |chatter=yes         |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|     |
code      |socket usb|error=060202        |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|0001 |
asleep    |socket usb|asleep=2            |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|     |#retry_status=[wake_up=fulfilled(2/60)]
pieces    |socket usb|pieces=100&gap=300  |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|     |[STS] size=192
longest   |socket usb|extra=320           |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|     |[STS] size=512
silent    |socket usb|silence=0           |both  |-2 |                      |InkSheetType: 00         |0023 |cupsBackChannelRead() failed. ret=-1
die-awake |socket usb|die=wake-up         |both  |-2 |                      |InkSheetType: 00         |0023 |Unable to
die-reply |socket usb|die=reply           |both  |-2 |                      |InkSheetType: 00         |0023 |96 bytes of back-channel data
'
each_case() {
  local name vias
  while IFS='|' read -r name vias query file level message sheet reasons log; do
    read -r level <<<"$level"
    for via in $vias; do
      queue=$name-$via
      "$1"
    done
  done < <(sed 's/ *|/|/g' <<<"$cases")
}

declare -A job
submit_case() {
  "$scheduler" queue "$queue" "virtual-printer://test/${query:+?$query}" "$via"
  job[$queue]=$("$scheduler" submit "$queue" "$commands/$file")
}
# The filter's end, not the job's, which a back end can keep for long. The scheduler may have heard
# of the end before it has read the last lines.
check_case() {
  local told turn end=' exited with no errors.'
  if [ "$queue" = die-start-job ]; then end=' stopped with status 1.'; fi
  for turn in {1..600}; do
    told=$("$scheduler" log "${job[$queue]}")
    if grep -q "commandtocorvantide)$end" <<<"$told"; then break; fi
    sleep 0.1
  done
  expect "$queue: the filter ends by itself" 1 "$(grep -c "commandtocorvantide)$end" <<<"$told")"
  expect "$queue: no filter dies of a signal" "" "$(grep 'commandtocorvantide) .*signal' <<<"$told")"
  expect "$queue: its log has \"$log\"" 0 "$(grep -qF -- "$log" <<<"$told"; echo $?)"

  local expected read
  expected=$(report "$level" "${message:- }" "${sheet:- }" "$reasons")
  for turn in {1..20}; do
    read=$("$scheduler" attributes "$queue")
    if [ "$read" = "$expected" ]; then break; fi
    sleep 0.1
  done
  expect "$queue: what a client reads" "$expected" "$read"
}
each_case submit_case
each_case check_case

# Beside a back end that logs without pause, the log is that of a run without a scheduler.
expect "chatter: lines whole and in order" \
  "$("$VIRTUAL_PRINTER" --run virtual-printer://test/ "$FILTER" 1 2 3 4 5 "$both" 2>&1 |
    sed '/virtual-printer: /d; s/^DEBUG: //; s/"/\\"/g')" \
  "$(filter_lines "${job[chatter-job]}")"

# One queue through all kinds of state: the vendor's reasons always match, and another's stays.
lpadmin -p die-reply-job -o printer-state-reasons=media-low-warning
turns='error=090202:0002 error=0a0505:0010 remaining=9: die=start: bidi=no:0023 remaining=8:'
for turn in $turns die=wake-up:0023 error=110606:0024; do
  query=${turn%:*} reason=${turn#*:}
  "$scheduler" queue die-reply-job "virtual-printer://test/?$query"
  "$scheduler" wait "$("$scheduler" submit die-reply-job "$commands/status")" >/dev/null
  expect "the reasons after $query" "$(report "" "" "" "media-low-warning${reason:+,$reason}")" \
    "$("$scheduler" attributes die-reply-job | grep reasons)"
done

# A job cancelled amid a query that never ends is gone within 2 s, with its processes.
"$scheduler" queue sleeper 'virtual-printer://test/?asleep=1000'
sleeper=$("$scheduler" submit sleeper "$both")
until [[ $("$scheduler" log "$sleeper") == *'retrying(1/60)'* ]]; do sleep 0.05; done
read -ra pids <<<"$("$scheduler" log "$sleeper" | sed -n 's/^Started .* (PID \(.*\))/\1/p' | xargs)"
before=${EPOCHREALTIME/./}
cancel "$sleeper"
expect "a job is cancelled" "$sleeper canceled" "$("$scheduler" wait "$sleeper")"
while ps -p "${pids[*]}" >/dev/null; do sleep 0.05; done
expect "${#pids[@]} processes are gone within 2 s" 1 "$((${EPOCHREALTIME/./} - before < 2000000))"

# Twenty jobs over four queues at once.
twenty=()
for queue in good sheet-0f above keyword; do
  for turn in {1..5}; do twenty+=("$("$scheduler" submit "$queue-job" "$both")"); done
done
expect "twenty jobs complete" 20 "$("$scheduler" wait "${twenty[@]}" | grep -c completed)"
expect "twenty jobs report right" "$(printf '%s\n' 30{,,,,,,,,,} 125{,,,,} 30{,,,,})" \
  "$(for id in "${twenty[@]}"; do "$scheduler" log "$id"; done | sed -n 's/^ATTR: marker-levels=//p')"

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
