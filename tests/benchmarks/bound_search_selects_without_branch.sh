#!/bin/sh
# The bound searches of the release program select the next range with a conditional move, not a branch on
# the comparison: checked on the benchmark's own instantiations for int32.
program="$1"
status=0
for family in Algorithms_LowerBound_Qor Algorithms_UpperBound_Qor; do
    body=$(objdump -d --no-show-raw-insn -C "$program" |
           awk -v name="::$family<int>(benchmark::State&)>:" 'index($0, name) { on = 1; next } on && /^$/ { exit } on')
    if [ -z "$body" ]; then
        echo "$family<int>: not found in $program"
        status=1
    elif ! printf '%s\n' "$body" | grep -q 'cmov'; then
        echo "$family<int>: the select is a branch, not a conditional move:"
        printf '%s\n' "$body" | grep -E -A1 'cmp .*\(%[a-z0-9]+,%[a-z0-9]+,4\)'
        status=1
    fi
done
exit $status
