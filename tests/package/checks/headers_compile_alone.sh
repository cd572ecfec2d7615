#!/usr/bin/env bash
# Each installed header compiles alone, with what pkg-config says of its library.
. "$(dirname "$0")/../common.sh"

mapfile -t headers < <(cd "$prefix/include/velmor" && find . -name '*.h' -printf '%P\n' | sort)
((${#headers[@]} > 0)) || fail "no headers are installed"
for header in "${headers[@]}"; do
    name=${header%%/*}
    read -ra cflags < <(pkg-config --cflags "velmor-${name//_/-}")
    echo "#include \"$header\"" |
        "$CXX" -std=c++17 "${flags[@]}" -Werror -fsyntax-only "${cflags[@]}" -x c++ - ||
        fail "$header does not compile alone"
    echo "$header"
done
