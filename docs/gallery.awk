# Puts below each heading of the gallery a link to the operator's class page, and the example there. The page comes
# last, behind the headers of the operators; one without pictures is an error, and so is one without an example.

FNR == 1 {
    inExample = 0
    name = FILENAME
    gsub(/.*\/|\.[^.]*$/, "", name)
}
/^\/\/\/ Example:$/ { inExample = 1; next }
inExample && /^\/\/\/($|     )/ { code[name] = code[name] substr($0, 9) "\n"; next }
{ inExample = 0 }
FILENAME !~ /\.md$/ { next }
{ print }
/^## / {
    sub(/^\n/, "", code[$2])
    if (code[$2] == "")
        fail("an example of " $2)
    printf "\nvelmor::cvprocess::%s\n\n```cpp\n%s```\n", $2, code[$2]
    code[$2] = "shown"
}
END {
    for (name in code)
        if (code[name] != "shown")
            fail("a picture of " name)
    exit failed
}

function fail(what)
{
    print "gallery.awk: the gallery lacks " what > "/dev/stderr"
    failed = 1
}
