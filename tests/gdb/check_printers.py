#!/usr/bin/env python3
"""Runs the printers' program under `gdb -batch` with the printers loaded, stops in StopHere, prints each
expression of the expected file in main's frame and compares what GDB shows with the expected text. Pointer
values are compared as 0x...: they change with the build. Exit status 77 (a skip for ctest) when there is no
gdb, or when the machine forbids it to trace the program (a container without ptrace)."""

import argparse
import re
import shutil
import subprocess
import sys

SKIPPED = 77
ADDRESS = re.compile(r'0x[0-9a-f]+')


def read_expected(path):
    """(expression, text) of each line "expression = text"; blank lines and # comments are skipped."""
    pairs = []
    with open(path, encoding='utf-8') as expected:
        for line in expected:
            line = line.rstrip('\n')
            if line and not line.startswith('#'):
                expression, text = line.split(' = ', 1)
                pairs.append((expression, text))
    return pairs


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument('--gdb', default='gdb')
    parser.add_argument('--program', required=True)
    parser.add_argument('--printers', required=True)
    parser.add_argument('--expected', required=True)
    arguments = parser.parse_args()

    gdb = shutil.which(arguments.gdb)
    if not gdb:
        print('check_printers: no %s, skipped' % arguments.gdb)
        return SKIPPED

    pairs = read_expected(arguments.expected)
    # Each value is printed between markers, so that GDB's own messages can't be taken for a value.
    commands = ['set pagination off', 'set width 0', 'set print pretty off',
                'source ' + arguments.printers, 'break StopHere', 'run', 'up']
    for index, (expression, _) in enumerate(pairs):
        commands += ['echo <<%d>>' % index, 'output %s' % expression, 'echo <</%d>>\\n' % index]
    command_line = [gdb, '-batch', '-nx', '-iex', 'set auto-load python-scripts off']
    for command in commands:
        command_line += ['-ex', command]
    run = subprocess.run(command_line + [arguments.program], capture_output=True, text=True, timeout=120)
    output = run.stdout + run.stderr
    if 'ptrace: Operation not permitted' in output:
        print('check_printers: this machine does not let gdb trace a program, skipped')
        return SKIPPED

    failures = 0
    for index, (expression, expected) in enumerate(pairs):
        match = re.search(r'<<%d>>(.*?)<</%d>>' % (index, index), output, re.S)
        shown = ADDRESS.sub('0x...', match.group(1)) if match else None
        if shown != expected:
            failures += 1
            print('%s\n  expected: %s\n  shown:    %s' % (expression, expected, shown))
    if failures:
        print('check_printers: %d of %d printed values differ; GDB said:\n%s' % (failures, len(pairs), output))
        return 1
    print('check_printers: %d printed values as expected' % len(pairs))
    return 0


if __name__ == '__main__':
    sys.exit(main())
