# Puts below each heading of the gallery links to the operator's class page and to that of the filter in main memory, and
# the examples there, in C++ and from the docstrings in Python. The page comes last, behind the headers of the operators
# and the docstrings; an operator without pictures is an error, and so is one without an example.

FNR == 1 {
    inExample = 0
    name = FILENAME
    gsub(/.*\/|\.[^.]*$/, "", name)
    space = FILENAME ~ /\/native\/[^\/]*$/ ? "native" : "cvprocess"
    declared[space, name] = name
}
/^\/\/\/ Example:$/ { inExample = 1; next }
inExample && /^\/\/\/($|     )/ { code[space, name] = code[space, name] substr($0, 9) "\n"; next }
{ inExample = 0 }
/^VELMOR_NATIVE_EXPORT .*\(/ { # a function in the place of a class
    sub(/\(.*/, "")
    declared[space, name] = $NF "()"
}
FILENAME ~ /\/docstrings\.md$/ {
    if (/^## /)
        python = $2
    if (/^Page: .*\/[A-Za-z0-9]+\.h$/) { # of a class or a function, not of a member
        space = /^Page: native/ ? "native" : "cvprocess"
        name = $2
        gsub(/.*\/|\.h$/, "", name)
        called[space, name] = python
    }
    if (/^    /)
        pythonCode[python] = pythonCode[python] substr($0, 5) "\n"
    next
}
FILENAME !~ /\.md$/ { next }
/^In main memory: / { next } # the example says it
{ print }
/^## / {
    if (("cvprocess", $2) in code)
        show("cvprocess", $2, "")
    else
        fail("an example of " $2)
    if (("native", $2) in code)
        show("native", $2, "In main memory: ")
}
END {
    for (place in code)
        if (code[place] != "shown") {
            split(place, part, SUBSEP)
            fail("a picture of velmor::" part[1] "::" part[2])
        }
    exit failed
}

function show(space, name, place, text, python)
{
    text = code[space, name]
    sub(/^\n/, "", text)
    printf "\n%svelmor::%s::%s\n\n```cpp\n%s```\n", place, space, declared[space, name], text
    code[space, name] = "shown"
    python = called[space, name]
    if (python in pythonCode)
        printf "\nIn Python: `velmor.%s`\n\n```py\n%s```\n", python, pythonCode[python]
    else
        fail("an example in Python of velmor::" space "::" name)
}

function fail(what)
{
    print "gallery.awk: the gallery lacks " what > "/dev/stderr"
    failed = 1
}
