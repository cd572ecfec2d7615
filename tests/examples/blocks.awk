# Takes the C++ samples out of a Markdown file, so that the compiler sees them. Errors are reported at the line of the
# file. With `names`, each shorter sample becomes a function in the operators' namespace, and the header in `names`
# declares what it takes for granted; without, the whole program among the samples comes out as it is.

function finish()
{
    if (isProgram == (names == ""))
        printf "%s#line %d \"%s\"\n%s%s", before, first, FILENAME, sample, after
}

BEGIN {
    if (names != "")
        printf "#include \"%s\"\n", names
}
/^```cpp$/ {
    inSample = 1
    isProgram = 0
    first = FNR + 1
    sample = ""
    before = names == "" ? "" : "namespace velmor::cvprocess {\n[[maybe_unused]] static void sampleOfLine" first "()\n{\n"
    after = names == "" ? "" : "}\n}\n"
    next
}
/^```$/ && inSample {
    inSample = 0
    finish()
}
inSample && names != "" && /^#include/ { before = $0 "\n" before; $0 = "" }
inSample && /^int main\(/ { isProgram = 1 }
inSample { sample = sample $0 "\n" }
