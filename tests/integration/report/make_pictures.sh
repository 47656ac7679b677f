#!/usr/bin/env bash
# Makes the pictures of docs/report.md again, with Debian's chromium and chromium-driver.
set -euo pipefail
cd "$(dirname "$0")/../../.."
packaging/prepare test release report_page_test
VELTRA_PICTURES=$PWD/docs build/release/tests/integration/report/report_page_test \
  --gtest_filter='*makes_the_pictures*'
