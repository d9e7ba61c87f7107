#!/usr/bin/env bash
# Runs the CTest suite of one build directory; widget and 3D tests get a virtual X server
# when there is no display. Extra arguments go to ctest (e.g. -R test_fourier -V).
set -euo pipefail
build=${1:?usage: run-tests.sh BUILD_DIR [ctest args...]}
shift
args=(--test-dir "$build" --output-on-failure -j "${KELVARA_TEST_JOBS:-2}" "$@")
if [ -z "${DISPLAY:-}" ]; then
  exec xvfb-run -a -s "-screen 0 1920x1200x24" ctest "${args[@]}"
fi
exec ctest "${args[@]}"
