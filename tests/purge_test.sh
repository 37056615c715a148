#!/bin/bash
# What becomes of jobs once the package of a queue's filter is purged: that of another filter's
# queue is none the worse.
# Run it as: script/private-scheduler run tests/purge_test.sh COMMAND-THAT-PURGES...
set -euo pipefail
scheduler=$(dirname "$(readlink -f "$0")")/../script/private-scheduler
filters=$PRIVATE_SCHEDULER/bin/filter
commands=$PRIVATE_SCHEDULER/commands
printf '#CUPS-COMMAND\nReportLevels\n' >"$commands"

# One queue whose filter is the installed file itself, beside one with a filter of its own.
cp "$FILTER" "$filters/other"
ln -sf "$FILTER" "$filters/commandtocorvantide"
sed 's/commandtocorvantide/other/' "$PPD" >"$PRIVATE_SCHEDULER/other.ppd"
"$scheduler" queue user virtual-printer://test/
PPD=$PRIVATE_SCHEDULER/other.ppd "$scheduler" queue other virtual-printer://test/

"$@" >/dev/null
for queue in user other; do
  end=$("$scheduler" wait "$("$scheduler" submit "$queue" "$commands")")
  echo "queue $queue: job $end"
done
[[ $end == *completed ]]
