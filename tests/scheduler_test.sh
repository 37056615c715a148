#!/bin/bash
# What a client reads under a real scheduler, and jobs that go wrong.
# Run it as: script/private-scheduler run tests/scheduler_test.sh
set -uo pipefail
scheduler=$(dirname "$(readlink -f "$0")")/../script/private-scheduler
commands=$PRIVATE_SCHEDULER/commands
passed=0 failed=0

expect() { # WHAT EXPECTED ACTUAL
  if [ "$2" = "$3" ]; then
    passed=$((passed + 1))
  else
    failed=$((failed + 1))
    printf 'FAILED: %s\nexpected: %s\nactual:   %s\n' "$@"
  fi
}

# Tries a condition until it holds or so many seconds have passed; returns whether it holds.
within() { # SECONDS COMMAND [ARG...]
  local end=$((SECONDS + $1))
  shift
  until "$@"; do
    [ "$SECONDS" -le "$end" ] || return 1
    sleep 0.05
  done
}

# The attributes of a report: level, message, name, and the numbers of the reasons that hold.
# Without a level, those of a queue that has no report of its markers yet.
report() {
  echo "printer-state-reasons=${4:-none}" | sed 's/\<\([0-9]\{4\}\)\>/com.corvantide-error\1/g'
  if [ -n "$1" ]; then
    printf 'marker-%s\n' 'colors=#00FF00' "levels=$1" "message=$2" "names=$3" 'types=ink-ribbon'
  fi
}

mkdir "$commands"
printf '#CUPS-COMMAND\nReportLevels\n' | tee "$commands/levels" >"$commands/both"
printf '#CUPS-COMMAND\nReportStatus\n' | tee "$commands/status" >>"$commands/both"

# The filter's file is left out: an ordinary user cannot give it to root, as the check wants.
expect "the sample PPD" "$PPD: PASS" "$(cupstestppd -W none -I filters "$PPD" | head -n 1)"

# Nobody else gets in: there is no port, and only the user can reach the socket.
inodes=$(readlink /proc/"$(pgrep -P "$PPID" cupsd)"/fd/* | sed -n 's/^socket:\[\(.*\)\]$/\1/p')
expect "the scheduler has sockets" 0 "$(grep -qwF "$inodes" /proc/net/unix; echo $?)"
expect "the scheduler has no port" 1 "$(cat /proc/net/{tcp,udp}* | grep -qwF "$inodes"; echo $?)"
expect "only the user can reach it" "700 $(id -un)" "$(stat -c '%a %U' "${CUPS_SERVER%/*}")"
if [ "$(id -u)" -eq 0 ]; then
  nobody=(setpriv --reuid nobody --regid nogroup --clear-groups)
  expect "no answer for another user's lpstat" "scheduler is not running" \
    "$("${nobody[@]}" lpstat -r)"
  for client in 'lpadmin -p stranger -E -v socket://127.0.0.1/' 'lp -d stranger /dev/null'; do
    read -ra words <<<"$client"
    expect "no answer for another user's $client" 1 "$("${nobody[@]}" "${words[@]}" 2>&-; echo $?)"
  done
fi

for via in job socket usb; do
  for uri in 'virtual-printer://test/?colour=red' 'virtual-printer://test/?total=%31' 'usb://test/'; do
    refused=$("$scheduler" queue refused "$uri" "$via" 2>&1)
    expect "$via: $uri is refused" "1 1 private-scheduler:" "$? $(wc -l <<<"$refused") ${refused%% *}"
  done
done
expect "no queue of a stranger's or of a refused printer's" "" "$(lpstat -e)"

# queue | via | printer | commands | level | message | name | reasons | filter's end | job's end, where it is soon | what the log holds
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
code     |socket usb    |error=060202          |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|0001|no errors|         |virtual-printer: received 1b 56 32 31
asleep   |job socket usb|asleep=2              |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|    |no errors|         |#retry_status=[wake_up=fulfilled(2/60)]
pieces   |socket usb    |pieces=100&gap=300    |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|    |no errors|         |[STS] size=192
longest  |socket usb    |extra=320             |both  |30 |Ink Ribbon = 120 / 400|InkSheetType: 13x18(5x7″)|    |no errors|         |[STS] size=512
silent   |job socket usb|silence=0             |both  |-2 |                      |InkSheetType: 00         |0023|no errors|         |cupsBackChannelRead() failed. ret=-1
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

declare -A job
submit_case() {
  "$scheduler" queue "$queue" "virtual-printer://test/${query:+?$query}" "$via"
  job[$queue]=$("$scheduler" submit "$queue" "$commands/$file")
}

# The filter's end, not the job's, which a back end can keep for long. The scheduler may have heard
# of the end before it has read the last lines.
filter_ended() {
  lines=$("$scheduler" log "${job[$queue]}")
  grep -q 'commandtocorvantide) \(exited\|stopped\|crashed\)' <<<"$lines"
}
attributes_are() { [ "$1" = "$("$scheduler" attributes "$queue")" ]; }
check_case() {
  local lines expected
  within 60 filter_ended
  expect "$queue: how the filter ends" "$filter_end" \
    "$(sed -n 's/.*commandtocorvantide) \(exited\|stopped\|crashed\) \(with\|on\) \(.*\)\./\3/p' <<<"$lines")"
  expect "$queue: its log has \"$log\"" 0 "$(grep -qF -- "$log" <<<"$lines"; echo $?)"
  if [ -n "$job_end" ]; then
    expect "$queue: how its job ends" "${job[$queue]} $job_end" \
      "$("$scheduler" wait "${job[$queue]}")"
  fi
  expected=$(report "$level" "${message:- }" "${sheet:- }" "$reasons")
  within 2 attributes_are "$expected"
  expect "$queue: what a client reads" "$expected" "$("$scheduler" attributes "$queue")"
}
each_case submit_case
each_case check_case
# Beside a back end that logs without pause, the log is that of a run without a scheduler.
alone=$("$VIRTUAL_PRINTER" --run virtual-printer://test/ "$FILTER" 1 2 3 4 5 "$commands/both" 2>&1 |
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
  "$scheduler" wait "$("$scheduler" submit turns "$commands/status")" >/dev/null
  expect "the reasons after $query" "$(report "" "" "" "media-low-warning${reason:+,$reason}")" \
    "$("$scheduler" attributes turns | grep reasons)"
done

# A job cancelled amid a query that never ends is gone within 2 s, with its processes.
"$scheduler" queue sleeper 'virtual-printer://test/?asleep=1000'
sleeper=$("$scheduler" submit sleeper "$commands/both")
asks_again() { [[ $("$scheduler" log "$sleeper") == *'retrying(1/60)'* ]]; }
are_gone() { ! ps -p "${pids[*]}" >/dev/null; }
within 20 asks_again
read -ra pids <<<"$("$scheduler" log "$sleeper" | sed -n 's/^Started .* (PID \(.*\))/\1/p' | xargs)"
expect "a job has a filter and a back end" 2 "$(ps -o pid= -p "${pids[*]}" | wc -l)"
cancel "$sleeper"
expect "its processes are gone within 2 s" 0 "$(within 1 are_gone; echo $?)"
expect "a job is cancelled" "$sleeper canceled" "$("$scheduler" wait "$sleeper")"

# On the network: one connection after the other meets the printer anew, on 127.0.0.1 alone. A signal
# ends it, also while a client does not read, and its port is free at once.
listen_on() { # PORT
  exec {output}< <(exec "$VIRTUAL_PRINTER" --listen "$1" 'virtual-printer://a/?asleep=1' 2>/dev/null)
  printer=$!
  IFS=:/ read -r _ _ _ address port _ <&"$output"
}
connect_to() { exec {line}<>"/dev/tcp/$1/$port"; }
ask_at() { (connect_to "$1" && printf '\033V21' >&"$line" && timeout 5 head -c 192 <&"$line" | od -An -tx1 -j5 -N1); }
has_ended() { ! kill -0 "$printer"; }
expect_end() { # WHAT SIGNAL
  kill -s "$2" "$printer"
  within 2 has_ended 2>/dev/null || kill -s KILL "$printer"
  wait "$printer"
  expect "$1" 0 $?
}
listen_on 0
expect "each connection meets the printer anew" "127.0.0.1  01  01" \
  "$address $(ask_at 127.0.0.1) $(ask_at 127.0.0.1)"
expect "no other address answers" "" "$(ask_at 127.0.0.2 2>/dev/null)"
expect "another printer on its port" "ERROR: virtual-printer: cannot listen on port $port" \
  "$("$VIRTUAL_PRINTER" --listen "$port" virtual-printer://test/ 2>&1 | sed 's/ of 127.*in use$//')"
connect_to 127.0.0.1
expect_end "Ctrl-C ends it amid a connection" INT
exec {line}>&-
listen_on "$port"
expect "its port is free at once" "  01" " $(ask_at 127.0.0.1)"
connect_to 127.0.0.1
{ yes $'\033V21' | head -c 30000000 >&"$line"; } 2>/dev/null &
sleep 1
expect "a client that does not read blocks it" 0 "$(kill -0 $!; echo $?)"
expect_end "a signal ends it all the same" TERM

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
