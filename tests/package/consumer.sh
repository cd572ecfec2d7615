# A program that uses the library as any other would.

# configure_consumer <folder> [cmake arguments]
configure_consumer()
{
    local folder=$SCRATCH/$1
    rm -rf "$folder"
    cmake -S "$sources/consumer" -B "$folder" -G "$GENERATOR" -DCMAKE_PREFIX_PATH="$prefix" \
        -DCMAKE_CXX_COMPILER="$CXX" -DCMAKE_CXX_FLAGS="$FLAGS" "${@:2}" 2>&1
}

# build_and_run_consumer <folder>
build_and_run_consumer()
{
    configure_consumer "$1"
    cmake --build "$SCRATCH/$1"
    "$SCRATCH/$1/consumer" "$SCRATCH/$1"
}

# refuses_consumer <folder> <cmake argument> <text>: find_package fails and says so
refuses_consumer()
{
    local output
    if output=$(configure_consumer "$1" "$2"); then fail "accepted with $2"; fi
    echo "$output"
    grep -qF "$3" <<<"$output" || fail "the message lacks: $3"
}
