#!/bin/bash
# Tests the report at the end of script/demo, and its exit status.
set -uo pipefail
cd "$(dirname "$(readlink -f "$0")")/.." || exit
failed=0

expect() { # STATUS END [ARG...]
  local output
  output=$(script/demo "${@:3}" 2>&1)
  output="$? $(tr -s '[:space:]' ' ' <<<"$output")"
  if [[ $output != "$1 "*"$2 " ]]; then
    failed=$((failed + 1))
    printf 'FAILED: script/demo %s\n%s\n' "${*:3}" "$output"
  fi
}

expect 0 'ribbon level 30 % message Ink Ribbon = 120 / 400 sheet 13x18(5x7″) state reasons '\
'com.corvantide-error0001'
expect 0 'scheduler reads: ribbon level unknown (no count) state reasons none' \
  'virtual-printer://test/?remaining=65535&sheet=ff'
expect 0 'client reads: ribbon level unknown (no answer) sheet 00 state reasons '\
'com.corvantide-error0023' --scheduler 'virtual-printer://test/?silence=0&sheet=0f' socket
expect 1 'Job 1 aborted. What a print client reads: state reasons none' \
  --scheduler 'virtual-printer://test/?die=start'
echo "script/demo: $failed failed"
[ "$failed" -eq 0 ]
