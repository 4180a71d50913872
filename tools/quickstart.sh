#!/usr/bin/env bash
# The README's first command. From a fresh clone on Debian 12 (as root or with sudo):
# installs what the build lacks, builds the release configuration and runs
# `brixsys demo`, which draws a small board into demo.png, demo.svg and demo.pdf.
#
#   tools/quickstart.sh [DIR]     # the pictures go to DIR, default build/demo
set -euo pipefail
cd "$(dirname "$0")/.."
out="${1:-build/demo}"

.ci/install-missing ca-certificates cmake ninja-build g++ pkg-config libcairo2-dev
# The release configuration without the benchmarks, which need many more packages.
cmake --preset release -DBRIXSYS_BUILD_BENCHMARKS=OFF
cmake --build --preset release --target brixsys_program
mkdir -p "$out"
# It ends by saying where the pictures are.
build/release/tools/brixsys demo "$out"
