#!/usr/bin/env bash
# Installs a build, moves what was installed, and builds and runs a program with
# it in three ways: tests/check_installed.sh SOURCE_FOLDER BUILD_FOLDER
#
# The program is compiled by what CXX names, else g++.
set -euo pipefail
source=$(cd "$1" && pwd)
build=$(cd "$2" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cd "$work"
compiler=${CXX:-g++}

fail() {
  echo "check_installed: $*" >&2
  exit 1
}

cmake --install "$build" --prefix "$work/first" >install.log 2>&1 ||
  fail "$(tail -5 install.log)"
mkdir elsewhere
mv first "elsewhere/a place"
prefix="$work/elsewhere/a place"
grep -rIlF "$work/first" elsewhere && fail 'these files know their prefix'
library=$(find "$prefix" -name libkivcorelib10.so)
[ -n "$library" ] || fail 'there is no library'
library_folder=$(dirname "$library")

# kiv finds its library beside it, and its own pages were made of its help.
"$prefix/bin/kiv" --help >/dev/null || fail 'kiv does not run'
[ -e "$prefix/share/man/man1/kiv-queue.1" ] || fail 'no page for kiv queue'
[ -e "$prefix/share/bash-completion/completions/kiv" ] || fail 'no completion'

run() {
  local name=$1
  shift
  local said
  said=$(LD_LIBRARY_PATH=$library_folder "$@") || fail "by $name: $said"
  [ "$said" = '3 com 2026 1' ] || fail "by $name: it says $said"
  echo "by $name: works"
}

cmake -S "$source/tests/consumer" -B by-cmake -DCMAKE_CXX_COMPILER="$compiler" \
  -DCMAKE_PREFIX_PATH="$prefix" >cmake.log 2>&1 &&
  cmake --build by-cmake >>cmake.log 2>&1 || fail "$(tail -20 cmake.log)"
run find_package by-cmake/consumer

consumer=$source/tests/consumer/consumer.cpp
export PKG_CONFIG_PATH=$library_folder/pkgconfig
pkg-config --exists kivcorelib10 || fail 'pkg-config does not find it'
# The words of pkg-config quote what the shell would cut.
eval "$compiler" -std=c++20 '"$consumer"' -o by-pkg-config \
  "$(pkg-config --cflags --libs kivcorelib10)"
run pkg-config ./by-pkg-config

"$compiler" -std=c++20 "$consumer" -o by-hand -I"$prefix/include" \
  -L"$library_folder" -lkivcorelib10
run hand ./by-hand
