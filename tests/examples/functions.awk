# Makes a function of the example of each header, in the header's namespace, so that the compiler sees it. Errors are
# reported at the line of the header. An example is what is indented under the line "/// Example:". The header in `names`
# declares what the examples take for granted.

BEGIN { printf "#include \"%s\"\n", names }
FNR == 1 { inExample = 0 }
/^namespace .* \{$/ { space = $2 }
/^\/\/\/ Example:$/ {
    inExample = 1
    name = FILENAME
    gsub(/[^A-Za-z0-9]/, "_", name)
    printf "#include \"%s\"\nnamespace %s {\n[[maybe_unused]] static void exampleOf_%s()\n{\n", FILENAME, space, name
    printf "#line %d \"%s\"\n", FNR + 1, FILENAME
    next
}
inExample && /^\/\/\/($|     )/ { print substr($0, 4); next }
inExample {
    print "}\n}"
    inExample = 0
}
