"""The campaign against the library and the collector: runs its parts one after another and says what they found. See scripts/torture."""

import argparse
import importlib
import pathlib
import subprocess
import sys
import time

from support import Part, fail_early

PARTS = ['kills', 'faults', 'disk', 'allocations', 'processes', 'hostile', 'clock', 'soak', 'collector', 'fuzz']
NOTHING_RUN = 77  # the exit when nothing could be run here
MINUTES, LONG_MINUTES = 2, 60  # of each part


def read_arguments():
    parser = argparse.ArgumentParser(
        prog='scripts/torture', description='Kills, starves and lies to the library, and checks that nothing is lost.')
    parser.add_argument('parts', nargs='*', metavar='PART', help=f'of {", ".join(PARTS)}; all of them by default')
    parser.add_argument('--minutes', type=float, default=MINUTES, help=f'of each part, {MINUTES} by default')
    parser.add_argument('--long', action='store_true', help='an hour of each part, and every position of the faults, however long that takes')
    parser.add_argument('--short', action='store_true', help='the few rounds that the tests run')
    parser.add_argument('--seed', type=int, help='repeats what another run did; by default a new one is drawn')
    parser.add_argument('--round', help='only this round, as a finding names it')
    parser.add_argument('--build', type=pathlib.Path, required=True, help=argparse.SUPPRESS)
    arguments = parser.parse_args()
    unknown = [part for part in arguments.parts if part not in PARTS]
    fail_early(not unknown, f'there is no part {", ".join(unknown)}; there are {", ".join(PARTS)}')
    fail_early(arguments.round is None or len(arguments.parts) == 1, '--round belongs to one part')
    if arguments.long:
        arguments.minutes = LONG_MINUTES
    if arguments.seed is None:
        arguments.seed = int(time.time()) % 100_000
    return arguments


def fuzz(part):
    """A round is a fuzzer's name; its own runner says how to repeat what it found."""
    home = pathlib.Path(__file__).parent / 'fuzz'
    fuzzers = [part.only] if part.only else sorted(path.name for path in (home / 'seeds').iterdir())
    seconds = max(1, int(part.ends - time.monotonic()) // len(fuzzers))
    for fuzzer in fuzzers:
        part.rounds += 1
        command = [str(home / 'run'), '--seconds', str(seconds), '--only', fuzzer]
        if subprocess.run(command, check=False).returncode != 0:
            part.finding(fuzzer, 'see above')


def run_part(name, arguments):
    print(f'==> {name}', flush=True)
    extent = 'short' if arguments.short else 'long' if arguments.long else ''
    part = Part(name, arguments.build.resolve(), arguments.seed, arguments.minutes * 60, extent, arguments.round)
    began = time.monotonic()
    run = fuzz if name == 'fuzz' else importlib.import_module(name).run
    run(part)
    part.seconds = time.monotonic() - began
    return part


def show(parts):
    print('==> Results')
    print(f'    {"part":<12} {"rounds":>7} {"findings":>9} {"seconds":>8}   what it went through')
    for part in parts:
        figures = ', '.join(f'{count:,} {name.replace("_", " ")}' for name, count in sorted(part.figures.items()))
        remark = '; '.join(text for text in (figures, part.remark) if text)
        print(f'    {part.name:<12} {part.rounds:>7} {len(part.findings):>9} {part.seconds:>8.0f}   {remark}')


def main():
    arguments = read_arguments()
    print(f'==> Seed {arguments.seed}')
    parts = [run_part(name, arguments) for name in (arguments.parts or PARTS)]
    show(parts)
    if any(part.findings for part in parts):
        return 1
    return 0 if any(part.rounds for part in parts) else NOTHING_RUN


if __name__ == '__main__':
    sys.exit(main())
