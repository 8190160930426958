# Extracts the code of the guides so the build compiles it and the tests run
# it. A C block (```c) must follow a marker line:
#   <!-- program: NAME; OPTION: VALUE; ... -->   a whole program: NAME.c,
#        built, and run against the simulator with the options written to
#        NAME.run ("expect REGEX", "ctl REQUEST", "signal SIG@S",
#        "status N", "args WORDS", "scenario NAME" for a scenario block,
#        "port"); "uses: F G" links the function blocks F and G into it
#   <!-- function: NAME -->   whole functions: NAME.c, compiled after a
#        prelude of the usual headers
#   <!-- scenario: NAME -->   a simulator scenario (```yaml): NAME.yaml
#   <!-- fragment -->         a line or two, not compiled
# Prints "KIND NAME" (and a program's functions) for each extracted block; an unmarked C block or a
# repeated name is an error.
#   awk -v out=DIR -f extract_code.awk GUIDE.md...
function fail(msg) {
    printf "%s:%d: %s\n", FILENAME, FNR, msg > "/dev/stderr"
    failed = 1
    exit 1
}
/^<!-- (program|function|scenario): .* -->$/ || /^<!-- fragment -->$/ {
    marker = $0
    sub(/^<!-- /, "", marker)
    sub(/ -->$/, "", marker)
    marked = FNR
    next
}
/^```/ && !inside {
    lang = substr($0, 4)
    inside = 1
    if (marked != FNR - 1) {
        if (lang == "c" || lang == "yaml") fail("a " lang " block without a marker line before it")
        kind = "none"
        next
    }
    n = split(marker, parts, /; /)
    kind = parts[1]
    sub(/:.*/, "", kind)
    name = parts[1]
    sub(/^[a-z]+: */, "", name)
    if (kind == "fragment") next
    if (name !~ /^[a-z][a-z0-9_]*$/) fail("bad name '" name "'")
    if (name in seen) fail("the name '" name "' is used twice")
    seen[name] = 1
    if ((kind == "scenario") != (lang == "yaml")) fail(kind " " name ": a " lang " block")
    file = out "/" name (kind == "scenario" ? ".yaml" : ".c")
    printf "" > file
    if (kind == "function")
        print "#define _POSIX_C_SOURCE 200809L\n#include <pthread.h>\n#include <stdio.h>\n#include <stdlib.h>\n#include <string.h>\n#include <syslog.h>\n#include <unistd.h>\n\n#include \"zelto_sdk.h\"\n" > file
    if (kind == "program") {
        run = out "/" name ".run"
        printf "" > run
        for (i = 2; i <= n; ++i) {
            key = parts[i]
            sub(/:.*/, "", key)
            value = parts[i]
            sub(/^[a-z]+: */, "", value)
            if (key == "scenario") value = out "/" value ".yaml"
            if (key == "uses") uses = uses " " value
            else print key " " value > run
        }
        close(run)
    }
    print kind " " name uses
    uses = ""
    next
}
/^```$/ && inside {
    inside = 0
    if (kind != "none" && kind != "fragment") close(file)
    kind = "none"
    next
}
inside && kind != "none" && kind != "fragment" { print > file }
END {
    if (!failed && inside) fail("a code block without its end")
}
