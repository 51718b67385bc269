# What docs/pictures/records.txt says of sizes and offsets, as assertions for the compiler.
BEGIN {
    FS = " *[|] *"
    print "#include <VDIFrameworkCommon/MacosxEvent.h>\n\n#include \"SharedRecords.h\"\n\nusing namespace VDIFrameworkCommon;\n"
}

function check(condition) { printf "#line %d \"%s\"\nstatic_assert(%s);\n", FNR, FILENAME, condition }

/^record/ {
    type = $3
    check($4 " == " $5)
}

/^field/ && type != "-" {
    check("offsetof(" type ", " $4 ") == " $2)
    check("sizeof(" type "::" $4 ") == " $3)
}
