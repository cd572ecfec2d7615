# Prints what programs that use a library were compiled against: its exported functions and variables, with the types
# that they reach in the installed headers: what classes keep behind a pointer, defined in a source file, is nothing to
# programs. Places are left out: where sources, build and installed tree lie, and lines.
abi_of()
{
    abidw --suppressions "$sources/abi/internals.abignore" --exported-interfaces-only --drop-undefined-syms \
        --no-architecture --no-elf-needed --no-corpus-path --no-comp-dir-path --no-show-locs \
        --no-parameter-names --type-id-style hash \
        --headers-dir "$prefix/include/velmor" --drop-private-types "$(library "$1")" |
        sed "s,path='$(cd "$sources/../.." && pwd)/,path=',"
}

released_abi()
{
    echo "$sources/abi/velmor_$1.abi.gz"
}
