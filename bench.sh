#!/usr/bin/env bash
# Runs the benchmarks, prints a table and writes build/bench.json ({"row": number}).
# usage: ./bench [GROUP...]     groups as in bench/*.cpp and bench/service_bench.py
set -euo pipefail
cd -- "$(dirname -- "${BASH_SOURCE[0]}")"
scripts/setup
cmake --preset linux-release >/dev/null
cmake --build --preset linux-release >build/linux-release/build.log 2>&1 ||
  { tail -n 60 build/linux-release/build.log >&2; exit 1; }
exec python3 scripts/run-bench --bin build/linux-release/bin "$@"
