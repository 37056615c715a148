#!/bin/bash
# What script/demo tells at its end, with its status, and that it leaves nothing behind.
set -uo pipefail
cd "$(dirname "$(readlink -f "$0")")/.." || exit
TMPDIR=$(mktemp -d)
chmod 0711 "$TMPDIR"  # root's scheduler has filters of another user
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
failed=0

# what it is asked | its status | the last lines that it tells, separated by semicolons
runs='
|0|What the scheduler would learn:;  ribbon level   30 %;  message        Ink Ribbon = 120 / 400;  sheet          13x18(5x7″);  state reasons  com.corvantide-error0001
virtual-printer://test/?silence=0&sheet=0f|0|What the scheduler would learn:;  ribbon level   not known, for want of an answer;  message        none;  sheet          00;  state reasons  com.corvantide-error0023
virtual-printer://test/?remaining=65535&sheet=ff|0|What the scheduler would learn:;  ribbon level   not known to the printer;  message        none;  sheet          nothing;  state reasons  none
virtual-printer://test/?colour=red|1|ERROR: virtual-printer: unknown key "colour" in the URI
--scheduler virtual-printer://test/?error=090202 usb|0|Job 1 completed.;The virtual printer'\''s settings: error=090202;What a print client reads of it:;  ribbon level   30 %;  message        Ink Ribbon = 120 / 400;  sheet          13x18(5x7″);  state reasons  com.corvantide-error0002
--scheduler virtual-printer://test/?die=start|1|Job 1 aborted.;The virtual printer'\''s settings: die=start;What a print client reads of it:;  ribbon level   nothing;  message        none;  sheet          nothing;  state reasons  none
--scheduler virtual-printer://test/?colour=red|1|private-scheduler: unknown key "colour" in the URI
virtual-printer://test/ job|2|build/release/virtual-printer --help tells what a URI can say.
'
while IFS='|' read -r operands status told; do
  [ -n "$status" ] || continue
  read -ra words <<<"$operands"
  output=$(script/demo "${words[@]}" 2>&1)
  ended=$?
  told=$(tr ';' '\n' <<<"$told")
  if [ "$ended" != "$status" ] || [ "$(tail -n "$(wc -l <<<"$told")" <<<"$output")" != "$told" ]; then
    failed=$((failed + 1))
    echo "FAILED: script/demo $operands ended with $ended:"
    echo "$output"
  fi
done <<<"$runs"
if [ -n "$(ls -A "$TMPDIR")" ]; then
  failed=$((failed + 1))
  echo "FAILED: script/demo left in its folder: $(ls -A "$TMPDIR")"
fi
echo "What script/demo tells is right but for $failed faults."
[ "$failed" -eq 0 ]
