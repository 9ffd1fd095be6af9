#!/bin/sh
# run.sh <find_package|pkg_config|add_subdirectory> <source folder> <build folder of the library>
# Builds the smallest module in one of the three ways that a module finds the library, and checks what it prints.
set -eu
way=$1 source=$2 build=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
here=$source/tests/consumers

case $way in
find_package)
    cmake --install "$build" --prefix "$work/usr" >/dev/null
    cmake -S "$here/find_package" -B "$work/b" -DCMAKE_PREFIX_PATH="$work/usr" >/dev/null
    cmake --build "$work/b" >/dev/null
    program=$work/b/consumer
    ;;
pkg_config)
    cmake --install "$build" --prefix "$work/usr" >/dev/null
    pc=$(dirname "$(find "$work/usr" -name qvlib.pc)")
    export PKG_CONFIG_PATH="$pc"
    # shellcheck disable=SC2046
    c++ "$here/main.cpp" $(pkg-config --define-variable=prefix="$work/usr" --cflags --libs qvlib) -o "$work/consumer"
    LD_LIBRARY_PATH=$(pkg-config --define-variable=prefix="$work/usr" --variable=libdir qvlib)
    export LD_LIBRARY_PATH
    program=$work/consumer
    ;;
add_subdirectory)
    cmake -G Ninja -S "$here/add_subdirectory" -B "$work/b" -DQVLIB_DIR="$source" -DCMAKE_BUILD_TYPE=Debug >/dev/null
    cmake --build "$work/b" --parallel 2 >/dev/null
    program=$work/b/consumer
    ;;
esac

printed=$("$program")
expected="qvlib: 3 tokens, 42, r"
[ "$printed" = "$expected" ] || { echo "printed '$printed', expected '$expected'" >&2; exit 1; }
