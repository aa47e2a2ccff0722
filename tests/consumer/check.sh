#!/usr/bin/env bash
# Installs a build of the library into a folder of its own, builds this folder's program against it, outside the tree,
# and runs it.
#
#   check.sh find_package|pkg_config BUILD_DIR
set -euo pipefail

readonly WAY=$1 BUILD=$2
readonly CMAKE=${CMAKE_COMMAND:-cmake}
here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT

"$CMAKE" --install "$BUILD" --prefix "$scratch/installed" >"$scratch/install.log" || {
    cat "$scratch/install.log"
    exit 1
}

mkdir "$scratch/consumer"
cp "$here"/*.cpp "$here/CMakeLists.txt" "$scratch/consumer"
cd "$scratch/consumer"

# Every public header compiles without the ones that stay at home.
headers=$(cd "$scratch/installed/include/TolmRepository" && find . -name '*.h' -printf '#include <%P>\n' | sort)
grep -q 'repository/' <<<"$headers" || { echo "no header was installed"; exit 1; }
! grep '_p\.h>' <<<"$headers" || { echo "private headers were installed"; exit 1; }
printf '%s\n' "$headers" >headers.h
sed -i '1i #include "headers.h"' main.cpp

case $WAY in
    find_package)
        "$CMAKE" -S . -B build -G Ninja -DCMAKE_PREFIX_PATH="$scratch/installed"
        "$CMAKE" --build build
        build/consumer
        ;;
    pkg_config)
        PKG_CONFIG_PATH=$(dirname "$(find "$scratch/installed" -name TolmRepository.pc)")
        export PKG_CONFIG_PATH
        # Debian's Qt wants position-independent callers; its CMake package says so by itself, its .pc files do not.
        read -ra flags <<<"$(pkg-config --cflags --libs TolmRepository)"
        "${CXX:-c++}" -std=c++17 -fPIC main.cpp -o consumer "${flags[@]}"
        LD_LIBRARY_PATH=$(pkg-config --variable=libdir TolmRepository) ./consumer
        ;;
    *)
        echo "check.sh: unknown way \"$WAY\"" >&2
        exit 1
        ;;
esac
