#!/bin/bash
# What script/demo tells at its end, with its status, and that it leaves nothing behind.
set -uo pipefail
cd "$(dirname "$(readlink -f "$0")")/.." || exit
TMPDIR=$(mktemp -d)
chmod 0711 "$TMPDIR"  # root's scheduler has filters of another user
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
failed=0

# what it is asked | its status | the lines that it tells at its end
printer=virtual-printer://test/
learn='What the scheduler would learn:'
read='What a print client reads of it:'
settings="The virtual printer's settings:"
while IFS='|' read -r operands status end; do
  read -ra words <<<"$operands"
  told=$(script/demo "${words[@]}" 2>&1)
  told="$?|$(xargs -d '\n' <<<"$told" | tr -s ' ')"
  if [[ $told != "$status|"*"$end" ]]; then
    failed=$((failed + 1))
    printf 'FAILED: script/demo %s\n%s\n' "$operands" "$told"
  fi
done <<END
|0|$learn ribbon level 30 % message Ink Ribbon = 120 / 400 sheet 13x18(5x7″) state reasons com.corvantide-error0001
$printer?silence=0&sheet=0f|0|$learn ribbon level not known, for want of an answer message none sheet 00 state reasons com.corvantide-error0023
$printer?remaining=65535&sheet=ff|0|$learn ribbon level not known to the printer message none sheet nothing state reasons none
$printer?colour=red|1|ERROR: virtual-printer: unknown key "colour" in the URI
$printer job|2|build/release/virtual-printer --help tells what a URI can say.
--scheduler $printer?error=090202 usb|0|Job 1 completed. $settings error=090202 $read ribbon level 30 % message Ink Ribbon = 120 / 400 sheet 13x18(5x7″) state reasons com.corvantide-error0002
--scheduler $printer?die=start|1|Job 1 aborted. $settings die=start $read ribbon level nothing message none sheet nothing state reasons none
--scheduler $printer?colour=red|1|private-scheduler: unknown key "colour" in the URI
END
left=$(ls -A "$TMPDIR")
[ -z "$left" ] || echo "FAILED: script/demo left in its folder: $left"
echo "script/demo: $failed failed"
[ "$failed$left" = 0 ]
