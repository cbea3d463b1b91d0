"""Fleet throughput: one reader over many generated recordings with 1, 2, ...
local worker processes; recordings per second and the speed-up.

    /usr/bin/python3 bench/fleet_scale.py [--recordings 200] [--workers 1,2]
        [--reader harmonic_table] [--records 150] [--dir DIR]

Needs the library and trova-writerec built (scripts/demo.sh or a build
under build/). The recordings are written once into --dir and reused.
"""
import argparse
import glob
import os
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "python"))

import trova  # noqa: E402
from trova import fleet  # noqa: E402


def writer():
    tools = sorted(glob.glob(os.path.join(HERE, "..", "build", "*", "tools", "recwriter",
                                          "trova-writerec")))
    if not tools:
        sys.exit("trova-writerec is not built: run scripts/demo.sh first")
    return tools[0]


def write_tree(root, count, records):
    tool = writer()
    marker = os.path.join(root, f".written-{count}-{records}")
    if os.path.exists(marker):
        return
    for i in range(count):
        site = os.path.join(root, f"site-{i // 20:02d}")
        os.makedirs(site, exist_ok=True)
        subprocess.run([tool, site, "harmonic", f"files={records},{records}",
                        f"stem=feeder{i:03d}", "harmonics=50", f"base={i}", "step=0.25"],
                       check=True, capture_output=True)
    open(marker, "w").close()


def main():
    parser = argparse.ArgumentParser(description=__doc__.split("\n")[0])
    parser.add_argument("--recordings", type=int, default=200)
    parser.add_argument("--records", type=int, default=150, help="records per member (2 members)")
    parser.add_argument("--workers", default="1,2")
    parser.add_argument("--reader", default="harmonic_table")
    parser.add_argument("--dir", default=os.path.join(HERE, "..", "build", "fleet-bench"))
    args = parser.parse_args()
    write_tree(args.dir, args.recordings, args.records)
    found = fleet.find_recordings(args.dir)
    size = sum(os.path.getsize(m) for r in found for m in r.members)
    print(f"{len(found)} recordings, {size / 2**20:.0f} MiB, reader {args.reader}")
    # One process, no cluster: the floor of what a task costs.
    started = time.perf_counter()
    for r in found:
        trova.read(args.reader, r.path, progress=False)
    single = time.perf_counter() - started
    print(f"{'in-process loop':>18}: {len(found) / single:8.1f} recordings/s")
    base = None
    for workers in [int(w) for w in args.workers.split(",")]:
        from distributed import Client, LocalCluster
        with LocalCluster(n_workers=workers, threads_per_worker=1, processes=True,
                          dashboard_address=None) as cluster, Client(cluster) as client:
            fleet.run(args.reader, list(found)[:workers * 2],
                      client=client, progress=False)  # warm the workers (import, library)
            started = time.perf_counter()
            result = fleet.run(args.reader, found, client=client, progress=False)
            seconds = time.perf_counter() - started
        rate = len(result.rows) / seconds
        base = base or rate
        print(f"{workers:>10} worker(s): {rate:8.1f} recordings/s  "
              f"speed-up {rate / base:4.2f}  failed {len(result.failed)}")


if __name__ == "__main__":
    main()
