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

# queue | printer | commands | level | message | name | reasons | what the log holds
cases='
good      |                         |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|     |
keyword   |error=3a0a0f             |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|0014 |
undefined |error=060203             |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|0023 |encountered undefined error number (0x06,0x02,0x03)
sheet-0f  |sheet=0f                 |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 15x20(6x8″)|     |
sheet-05  |sheet=05                 |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 05         |     |
above     |remaining=500&sheet=ff   |both  |125|Ink Ribbon = 500 / 400|                         |     |
unknown   |remaining=65535          |both  |-1 |                      |InkSheetType: 13x18(5x7″)|     |
asleep    |asleep=2                 |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|     |#retry_status=[wake_up=fulfilled(2/60)]
nobidi-l  |bidi=no&error=060202     |levels|-2 |                      |InkSheetType: 00         |     |
nobidi-s  |bidi=no&error=060202     |status|   |                      |                         |0023 |
silent    |silence=0                |both  |-2 |                      |InkSheetType: 00         |0023 |cupsBackChannelRead() failed. ret=-1
die-start |die=start                |both  |   |                      |                         |     |commandtocorvantide) stopped with status 1.
die-awake |die=wake-up              |both  |-2 |                      |InkSheetType: 00         |0023 |fflush() failed.
die-reply |die=reply                |both  |-2 |                      |InkSheetType: 00         |0023 |cupsBackChannelRead() failed. ret=0
chatter   |chatter=yes              |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|     |
'
each_case() {
  while IFS='|' read -r queue query file level message name reasons log; do
    read -r level <<<"$level"
    if [ -n "$queue" ]; then "$1"; fi
  done < <(sed 's/ *|/|/g' <<<"$cases")
}

declare -A job
submit_case() {
  "$scheduler" queue "$queue" "virtual-printer://test/${query:+?$query}"
  job[$queue]=$("$scheduler" submit "$queue" "$commands/$file")
}
check_case() {
  expect "$queue: what a client reads" \
    "$(report "$level" "${message:- }" "${name:- }" "$reasons")" "$("$scheduler" attributes "$queue")"
  local told
  told=$("$scheduler" log "${job[$queue]}")
  expect "$queue: its log has \"$log\"" 0 "$(grep -qF -- "$log" <<<"$told"; echo $?)"
  expect "$queue: no filter dies of a signal" "" "$(grep 'commandtocorvantide) .*signal' <<<"$told")"
  if [ "$queue" = die-start ]; then return; fi
  expect "$queue: status 0" 1 "$(grep -c 'commandtocorvantide) exited with no err' <<<"$told")"
}
each_case submit_case
"$scheduler" wait "${job[@]}" >/dev/null
each_case check_case

# Beside a back end that logs without pause, the log is that of a run without a scheduler.
expect "chatter: lines whole and in order" \
  "$("$VIRTUAL_PRINTER" --run virtual-printer://test/ "$FILTER" 1 2 3 4 5 "$both" 2>&1 |
    sed '/virtual-printer: /d; s/^DEBUG: //; s/"/\\"/g')" \
  "$(filter_lines "${job[chatter]}")"

# One queue through all kinds of state: the vendor's reasons always match, and another's stays.
lpadmin -p die-reply -o printer-state-reasons=media-low-warning
turns='error=090202:0002 error=0a0505:0010 remaining=9: die=start: bidi=no:0023 remaining=8:'
for turn in $turns die=wake-up:0023 error=110606:0024; do
  query=${turn%:*} reason=${turn#*:}
  "$scheduler" queue die-reply "virtual-printer://test/?$query"
  "$scheduler" wait "$("$scheduler" submit die-reply "$commands/status")" >/dev/null
  expect "the reasons after $query" "$(report "" "" "" "media-low-warning${reason:+,$reason}")" \
    "$("$scheduler" attributes die-reply | grep reasons)"
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
  for turn in {1..5}; do twenty+=("$("$scheduler" submit "$queue" "$both")"); done
done
expect "twenty jobs complete" 20 "$("$scheduler" wait "${twenty[@]}" | grep -c completed)"
expect "twenty jobs report right" "$(printf '%s\n' 30{,,,,,,,,,} 125{,,,,} 30{,,,,})" \
  "$(for id in "${twenty[@]}"; do "$scheduler" log "$id"; done | sed -n 's/^ATTR: marker-levels=//p')"

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
