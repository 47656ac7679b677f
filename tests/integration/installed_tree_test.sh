#!/usr/bin/env bash
# An installed tree works: the program finds the plug-in and the decoder without
# help, a project outside finds the package and loads the plug-in, and the links of the
# documents lead somewhere.
#   installed_tree_test.sh BUILD_DIR SOURCE_DIR [SANITIZERS]
# A plug-in built with sanitizers needs a host built with them.
set -euo pipefail
build=$1 source=$2 sanitizers=${3:-}
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
unset LD_LIBRARY_PATH
prefix="$work/a prefix"

cmake --install "$build" --prefix "$prefix" >/dev/null
cd "$work"
"$prefix/bin/veltra" simulate "$source/examples/attach_session.tsv" \
  --trace trace.bin --database database.tar.gz >/dev/null
"$prefix/bin/veltra" decode trace.bin --database database.tar.gz -o out.pcapng 2>summary.txt
[ -s out.pcapng ] || { echo "the installed veltra wrote no capture"; exit 1; }

cmake -S "$source/tests/integration/consumer" -B consumer -G Ninja \
  -DCMAKE_PREFIX_PATH="$prefix" ${sanitizers:+-DCMAKE_C_FLAGS=-fsanitize=$sanitizers} >configure.log || { cat configure.log; exit 1; }
cmake --build consumer >build.log || { cat build.log; exit 1; }
got=$(consumer/consumer trace.bin database.tar.gz)
messages=$(grep -vc '^#' "$source/examples/attach_session.tsv")
# The program reports the version of the plug-in that it was built with.
program=$("$prefix/bin/veltra" --version)
expected="version ${program#veltra }
decoded $messages"
[ "$got" = "$expected" ] || { printf 'expected:\n%s\ngot:\n%s\n' "$expected" "$got"; exit 1; }

"$here/links_test.sh" "$source"
"$here/links_test.sh" "$(dirname "$(find "$prefix" -name README.md -not -path '*/examples/*')")"
