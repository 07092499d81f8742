# Tells which docstrings of a public header do not say from which threads something may be called: each one at the level
# of the namespace has a line "Threads:", or the one of the file, which begins with "@file", has it for all. Types that
# only bear a name, and constants, may go without, and so may what hosts do not see.
function tell(line, what) {
    printf "FAILED: %s:%d: %s\n", FILENAME, line, what
    failed = 1
}

/^namespace (.*::)?internal \{/ { inside = 1 }
/^\}  \/\/ namespace (.*::)?internal$/ { inside = 0 }

/^ *\/\/\/.*Threads:/ { any = 1 }

/^\/\/\// {
    if (!begun) {
        begun = FNR
        said = ofFile = 0
    }
    said = said || /Threads:/
    ofFile = ofFile || /@file/
    next
}

begun && ofFile {
    forAll = said
    begun = 0
}

begun {
    if (/^(template <.*>|\[\[.*\]\])$/) {
        next
    }
    if (!said && !forAll && !inside && !/^(using|enum) / && !/constexpr [^(]*(;|=|\{)/) {
        tell(begun, "from which threads may it be called?")
    }
    begun = 0
}

END {
    if (!any) {
        tell(1, "no docstring says \"Threads:\"")
    }
    exit failed
}
