#!/bin/sh
# Regenerates the golden files of the test suites (tests/data/*/...) from the current code.
# Run it only after a deliberate change of an output, and review the diff before committing.
#
#   scripts/regen-golden.sh [BUILD_DIR] [SUITE...]
#
# BUILD_DIR defaults to ./build. Without SUITE, every suite that knows QUILLON_REGEN_GOLDEN
# is built and run; with it (e.g. uKwMainLog_test), only those.
set -eu

root=$(cd "$(dirname "$0")/.." && pwd)
build=${1:-"$root/build"}
[ $# -gt 0 ] && shift

if [ ! -f "$build/build.ninja" ]; then
  cmake -S "$root" -B "$build" -G Ninja
fi

if [ $# -gt 0 ]; then
  suites="$*"
else
  # The suites whose sources read the variable.
  suites=$(grep -l QUILLON_REGEN_GOLDEN "$root"/tests/*_test.cpp | xargs -n1 basename | sed 's/\.cpp$//')
fi

for suite in $suites; do
  cmake --build "$build" --target "$suite"
  echo "regenerating the golden files of $suite"
  # The same environment as ctest gives the suites.
  QUILLON_REGEN_GOLDEN=1 TZ=UTC LC_ALL=C "$build/tests/$suite" --gtest_brief=1
done

echo "done; review with: git -C \"$root\" diff --stat -- tests/data"
