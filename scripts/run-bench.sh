#!/usr/bin/env bash
# Builds the benchmarks in Release with the peers they are measured against,
# runs every program twice, first as a single-threaded process, then with a
# second thread alive (glibc and libstdc++ skip their atomic instructions
# while a process has one thread), and prints one table of the figures listed
# in bench/figures.tsv: medians of the repetitions, each beside its peer from
# the same run on the same machine. JSON results go to build/bench/results/.
# The repetitions of a program's benchmarks run interleaved in random order:
# a virtual machine has slow spells of seconds, and this way a spell slows
# the library and its peer alike instead of whichever ran during it. So a
# benchmark that starts threads lives in a program of its own (locks,
# threads): run at a random point, it would end the single-threaded process
# for the figures that follow it. The programs in `in_order` keep running
# each benchmark's repetitions together: they move tens of megabytes through
# the heap, the page cache or child processes, and there the state that one
# benchmark leaves behind would become part of the next one's figure.
#
#   --filter REGEX     run only the benchmarks whose names match
#   --repetitions N    repetitions of each benchmark (default 5)
#   --quick            3 repetitions of short runs: a rough look only
set -euo pipefail
root="$(cd "$(dirname "$0")/.." && pwd)"

usage() { echo "usage: $0 [--filter REGEX] [--repetitions N] [--quick]" >&2; exit 2; }
repetitions=5
options=()
filter=""
while [ $# -gt 0 ]; do
  case "$1" in
    --filter) [ $# -ge 2 ] || usage; filter="$2"; shift 2 ;;
    --repetitions) [ $# -ge 2 ] || usage; repetitions="$2"; shift 2 ;;
    --quick) repetitions=3; options+=(--benchmark_min_time=0.05); shift ;;
    *) usage ;;
  esac
done
[ -n "$filter" ] && options+=("--benchmark_filter=$filter")

ORVO_BENCH_PEERS=1 "$root/scripts/install-deps.sh"

build="$root/build/bench"
cmake -S "$root" -B "$build" -G Ninja -DCMAKE_BUILD_TYPE=Release -DORVO_BUILD_BENCH=ON \
  -DORVO_BUILD_TESTS=OFF -DORVO_BUILD_EXAMPLES=OFF >/dev/null
# Every program is named, so one whose peer is missing fails the build
# instead of being left out.
programs=()
for source in "$root"/bench/*.cpp; do programs+=("$(basename "$source" .cpp)"); done
cmake --build "$build" -j "$(nproc)" --target "${programs[@]/#/bench_}"

in_order=" crash files memory_stream property_convert property_graph property_text service threads "
results="$build/results"
rm -rf "$results"
mkdir -p "$results"
failed=0
for program in "${programs[@]}"; do
  for process in single second; do
    echo "running bench_$program ($process)" >&2
    second=(-u ORVO_BENCH_SECOND_THREAD)
    [ "$process" = second ] && second=(ORVO_BENCH_SECOND_THREAD=1)
    interleave=true
    [[ "$in_order" == *" $program "* ]] && interleave=false
    env "${second[@]}" "$build/bench/bench_$program" --benchmark_format=json \
      --benchmark_repetitions="$repetitions" --benchmark_enable_random_interleaving="$interleave" \
      --benchmark_report_aggregates_only=true \
      "${options[@]}" >"$results/$program.$process.json" \
      || { echo "bench_$program FAILED ($process process)" >&2; failed=1; }
  done
done

python3 - "$root/bench/figures.tsv" "$results" "$repetitions" "$filter" <<'PYTHON' || failed=1
import json, os, sys

figures_path, results, repetitions, filtered = sys.argv[1], sys.argv[2], sys.argv[3], sys.argv[4]
PROCESSES = [("single", "1 thread"), ("second", "2 threads")]
NS_PER_UNIT = {"ns": 1, "us": 1e3, "ms": 1e6, "s": 1e9}
problems = []
machine = []  # the context of every run, as the benchmark library reports it

def load(program, process):
    """Median aggregates of one run, by benchmark name, or None."""
    path = os.path.join(results, f"{program}.{process}.json")
    try:
        with open(path) as f:
            data = json.load(f)
    except (OSError, ValueError):
        return None
    machine.append(data["context"])
    parked = data["context"].get("second_thread") == "parked"
    if parked != (process == "second"):
        problems.append(f"bench_{program}: second thread {'present' if parked else 'absent'} in the {process} run")
    return {b["run_name"]: b for b in data["benchmarks"]
            if b.get("aggregate_name") == "median" and not b.get("error_occurred")}

runs = {}
def median(program, process, name, measure):
    """The median in ns (time), ns (inverted rate counters) or GB/s, or None."""
    if (program, process) not in runs:
        runs[program, process] = load(program, process)
    entry = (runs[program, process] or {}).get(name)
    if entry is None or (measure not in ("time", "real_time") and measure not in entry):
        return None
    if measure in ("time", "real_time"):
        key = "cpu_time" if measure == "time" else "real_time"
        return entry[key] * NS_PER_UNIT[entry["time_unit"]]
    if measure == "bytes_per_second":
        return entry[measure] / 1e9
    if measure.endswith("_bytes"):  # a size, as it is
        return entry[measure]
    return entry[measure] * 1e9  # a rate inverted: seconds per item

def shown(value, measure):
    if value is None:
        return "missing"
    if measure == "bytes_per_second":
        return f"{value:.2f} GB/s"
    if measure.endswith("_bytes"):
        return f"{value / 1024:.0f} KiB"
    for unit, scale in (("s", 1e9), ("ms", 1e6), ("us", 1e3), ("ns", 1)):
        if value >= scale or unit == "ns":
            return f"{value / scale:.3g} {unit}"

def met(target, value):
    if target == "report":
        return "-"
    sign, bound = target.split()[:2]
    bound = float(bound.rstrip("x"))
    return "yes" if (value >= bound if sign == ">=" else value <= bound) else "NO"

rows = []
with open(figures_path) as f:
    for line in f:
        if line.strip() and not line.startswith("#"):
            rows.append(line.rstrip("\n").split("\t"))

# Under a filter, the figures that had none of their benchmarks run are left
# out (and counted); without one, every figure shows, missing or not.
hidden = 0
table = [("figure", "process", "library benchmark", "median", "peer benchmark", "median", "ratio", "target", "met")]
outcomes = []
for figure, program, library, peer, measure, ratio_kind, target in rows:
    values = {process: (median(program, process, library, measure),
                        median(program, process, peer, measure) if peer != "-" else None)
              for process, _ in PROCESSES}
    if filtered and all(v == (None, None) for v in values.values()):
        hidden += 1
        continue
    for process, label in PROCESSES:
        mine, theirs = values[process]
        ratio_text, ratio = "-", None
        if peer != "-" and mine is not None and theirs is not None:
            ratio = theirs / mine if ratio_kind == "faster" else mine / theirs
            ratio_text = f"{ratio:.2f}x " + ("as fast" if ratio_kind == "faster" else "the time")
        # A target in "x" judges the ratio; one in units (ns, GB/s) judges the
        # library's own measure, also where a peer is shown for context.
        judged = ratio if target.endswith("x") else mine
        missing = mine is None or (peer != "-" and theirs is None)
        verdict = "missing" if missing else met(target, judged)
        outcomes.append(verdict)
        first = process == "single"
        table.append((figure if first else "", label, library if first else "", shown(mine, measure),
                      (peer if first else ""), shown(theirs, measure) if peer != "-" else "-",
                      ratio_text, target, verdict))

widths = [max(len(row[i]) for row in table) for i in range(len(table[0]))]
if machine:
    first, loads = machine[0], [c.get("load_avg", [0])[0] for c in machine]
    print(f"\n{first['date']}, {first['num_cpus']} CPUs at {first['mhz_per_cpu']} MHz,"
          f" load average {min(loads):.1f} to {max(loads):.1f} during the runs")
print(f"CPU time per iteration (or the figure's own measure), median of {repetitions} repetitions;"
      " library and peer from the same run.")
for i, row in enumerate(table):
    print("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip())
    if i == 0:
        print("  ".join("-" * width for width in widths))
scored = [o for o in outcomes if o in ("yes", "NO")]
print(f"\ntargets met: {scored.count('yes')} of {len(scored)}; missing: {outcomes.count('missing')}"
      + (f"; {hidden} figures outside the filter" if hidden else ""))
for problem in problems:
    print("ERROR:", problem)
sys.exit(1 if problems or (outcomes.count("missing") and not filtered) else 0)
PYTHON
exit "$failed"
