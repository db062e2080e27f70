"""Shows what the benches measured, next to the bare limits measured with it: usage: table.py RESULTS PROGRAMS"""
import json
import pathlib
import re
import sys

# What is measured, divisor, unit, the run, the library's counter, the bare one, what is wanted.
ROWS = [
    ('a call, in bursts of 100', 1, 'ns', 'bursts/queued:0/threads:1', 'facade_median_ns', 'bare_median_ns', '500 ns, x1.7'),
    ('  99 %', 1, 'ns', 'bursts/queued:0/threads:1', 'facade_p99_ns', 'bare_p99_ns', ''),
    ('  99.9 %', 1, 'ns', 'bursts/queued:0/threads:1', 'facade_p999_ns', 'bare_p999_ns', ''),
    ('  while 50,000 wait', 1, 'ns', 'bursts/queued:50000', 'facade_median_ns', 'bare_median_ns', '500 ns, x1.7'),
    ('a call, in bursts, 4 threads', 1, 'ns', 'bursts/queued:0/threads:4', 'facade_median_ns', 'bare_median_ns', ''),
    ('  99 %', 1, 'ns', 'bursts/queued:0/threads:4', 'facade_p99_ns', 'bare_p99_ns', ''),
    ('  99.9 %', 1, 'ns', 'bursts/queued:0/threads:4', 'facade_p999_ns', 'bare_p999_ns', ''),
    ('a call, one a millisecond', 1, 'ns', 'singleCalls/queued:0/threads:1', 'facade_median_ns', 'bare_median_ns', '2000 ns, x1.7'),
    ('  99 %', 1, 'ns', 'singleCalls/queued:0/threads:1', 'facade_p99_ns', 'bare_p99_ns', ''),
    ('  99.9 %', 1, 'ns', 'singleCalls/queued:0/threads:1', 'facade_p999_ns', 'bare_p999_ns', ''),
    ('a call a millisecond, 4 threads', 1, 'ns', 'singleCalls/queued:0/threads:4', 'facade_median_ns', 'bare_median_ns', ''),
    ('  99 %', 1, 'ns', 'singleCalls/queued:0/threads:4', 'facade_p99_ns', 'bare_p99_ns', ''),
    ('  99.9 %', 1, 'ns', 'singleCalls/queued:0/threads:4', 'facade_p999_ns', 'bare_p999_ns', ''),
    ('times a call waited', 1, '', 'bursts/queued:0/threads:1', 'facade_waits', '', '0'),
    ('building a record', 1000, 'us', 'build', 'record_median_ns', '', ''),
    ('writing it as JSON', 1000, 'us', 'build', 'json_median_ns', '', ''),
    ('building and storing an event', 1000, 'us', 'buildAndStore', 'zorvane_median_ns', 'bare_median_ns', ''),
    ('  99 %', 1000, 'us', 'buildAndStore', 'zorvane_p99_ns', 'bare_p99_ns', ''),
    ('  99.9 %', 1000, 'us', 'buildAndStore', 'zorvane_p999_ns', 'bare_p999_ns', ''),
    ('events from posting to disk', 1, '/s', 'inBursts', 'zorvane_per_s', 'bare_per_s', '15000 /s, x0.8'),
    ('  bare: prepared once', 1, '/s', 'inBursts', 'zorvane_per_s', 'prepared_per_s', ''),
    ('CPU for 1,000 events', 1, 'ms', 'inBursts', 'zorvane_cpu_ms_per_1000', 'bare_cpu_ms_per_1000', '70 ms'),
    ('to disk an event, in bursts', 1000, 'KB', 'inBursts', 'zorvane_disk_bytes', 'bare_disk_bytes', '7 KB'),
    ('to disk an event, one by one', 1000, 'KB', 'oneByOne', 'zorvane_disk_bytes', 'bare_disk_bytes', '7 KB'),
    ('memory gained by 90,000 events', 1, 'KB', 'memory', 'growth_kb', '', 'about 0'),
    ('sending 500 events', 1e6, 'ms', 'submit', 'zorvane_median_ns', 'bare_median_ns', ''),
    ('  CPU of it', 1, 'ms', 'submit', 'zorvane_cpu_ms', '', '7 ms'),
    ('idle, a second: CPU', 1, 'us', 'steady/rate:0', 'zorvane_cpu_us', '', ''),
    ('  switches', 1, '', 'steady/rate:0', 'zorvane_switches', '', '1, the timer'),
    ('1 event a second: CPU of it', 1, 'us', 'steady/rate:1', 'zorvane_cpu_us', 'bare_cpu_us', '250 us'),
    ('  switches', 1, '', 'steady/rate:1', 'zorvane_switches', 'bare_switches', '4'),
    ('60 events a second: CPU of one', 1, 'us', 'steady/rate:60', 'zorvane_cpu_us', 'bare_cpu_us', '150 us'),
    ('  switches', 1, '', 'steady/rate:60', 'zorvane_switches', 'bare_switches', '3'),
    ('a request waits, a second: switches', 1, '', 'requestInFlight', 'zorvane_switches', '', '0'),
    ('a run offline, 4,000 wait: to disk', 1000, 'KB', 'offline', 'disk_bytes', '', '64 KB'),
    ('  CPU of it', 1000, 'ms', 'offline', 'zorvane_cpu_us', '', ''),
    ('memory gained at initialisation', 1024, 'MB', 'small', 'initialised_resident_kb', '', '3 MB'),
    ('  without the code of libraries', 1024, 'MB', 'small', 'initialised_own_kb', '', ''),
    ('memory gained after 3,000 events', 1024, 'MB', 'small', 'reported_resident_kb', '', '5 MB'),
    ('  without the code of libraries', 1024, 'MB', 'small', 'reported_own_kb', '', ''),
    ('the collector: taking 500 records', 1e6, 'ms', 'intake', 'zorvane_median_ns', 'bare_median_ns', 'x1.8'),
    ('  its parts: inflating', 1e6, 'ms', 'inflate', 'batch_median_ns', '', ''),
    ('    parsing', 1e6, 'ms', 'parse', 'batch_median_ns', '', ''),
    ('    parsing and judging', 1e6, 'ms', 'parseAndJudge', 'batch_median_ns', '', ''),
    ('  memory, 2.6 million empty records', 1024, 'MB', 'hostile/tiny_records', 'peak_kb', 'inflated_kb', 'x3'),
    ('    nested without end', 1024, 'MB', 'hostile/deep', 'peak_kb', 'inflated_kb', 'x3'),
    ('    values without end', 1024, 'MB', 'hostile/tiny_values', 'peak_kb', 'inflated_kb', 'x3'),
    ('    the smallest good records', 1024, 'MB', 'hostile/smallest_good_records', 'peak_kb', 'inflated_kb', 'x6'),
    ('the collector: events by the 500', 1, '/s', 'receive/in_batches', 'zorvane_per_s', 'bare_per_s', '40000 /s, x0.6'),
    ('  bare: repeats refused', 1, '/s', 'receive/in_batches', 'zorvane_per_s', 'bare_once_per_s', ''),
    ('  99 % of the requests within', 1, 'ms', 'receive/in_batches', 'zorvane_p99_ms', '', ''),
    ('  CPU of an event', 1, 'us', 'receive/in_batches', 'zorvane_cpu_us', '', ''),
    ('  memory', 1024, 'MB', 'receive/in_batches', 'peak_kb', '', '200 MB'),
    ('the collector: events by the 10', 1, '/s', 'receive/in_small_requests', 'zorvane_per_s', 'bare_per_s', '50000 /s, x0.6'),
    ('  bare: repeats refused', 1, '/s', 'receive/in_small_requests', 'zorvane_per_s', 'bare_once_per_s', ''),
    ('  in requests', 1, '/s', 'receive/in_small_requests', 'requests_per_s', '', '5000 /s'),
    ('  99 % of them within', 1, 'ms', 'receive/in_small_requests', 'zorvane_p99_ms', '', ''),
    ('  CPU of an event', 1, 'us', 'receive/in_small_requests', 'zorvane_cpu_us', '', ''),
    ('  memory', 1024, 'MB', 'receive/in_small_requests', 'peak_kb', '', '200 MB'),
    *((f'a question: {question.replace("_", " ")}', 1e6, 'ms', f'ask/{question}', 'zorvane_median_ns', 'bare_median_ns', '300 ms')
      for question in ('overview', 'whole', 'of_a_platform', 'sessions', 'retention', 'revenue', 'levels', 'economy',
                       'designs', 'errors', 'ads', 'impressions', 'groups', 'events', 'events_by_day')),
    ('size added to a small program', 1000, 'KB', 'size', 'three_calls', '', '400 KB'),
]


def measured(results, programs):
    """The counters of all runs by their names, and the programs' sizes as a run of their own."""
    runs = {}
    for file in sorted(results.glob('*.json')):
        for run in json.loads(file.read_text())['benchmarks']:
            runs[re.sub(r'/(iterations:\d+|manual_time|real_time)', '', run['name'])] = run
    sizes = {game: (programs / game).stat().st_size for game in ('three_calls', 'no_calls')}
    return runs | {'size': {'three_calls': sizes['three_calls'] - sizes['no_calls']}}


def figure(value, divisor, unit):
    if value is None:
        return 'not reported'
    number = value / divisor
    return f'{number:.0f} {unit}' if number >= 100 or number == 0 else f'{number:.2f} {unit}'


def main():
    runs = measured(*map(pathlib.Path, sys.argv[1:]))
    print(f'    {"":36} {"Zorvane":>13} {"bare":>13} {"ratio":>8}   wanted')
    for what, divisor, unit, run, library, bare, wanted in ROWS:
        counters = runs.get(run, {})
        own, limit = counters.get(library), counters.get(bare)
        beside = figure(limit, divisor, unit) if bare else ''
        ratio = f'{own / limit:.2f}' if own and limit else ''
        print(f'    {what:36} {figure(own, divisor, unit):>13} {beside:>13} {ratio:>8}   {wanted}'.rstrip())


main()
