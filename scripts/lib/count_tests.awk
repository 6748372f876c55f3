# SPDX-License-Identifier: Apache-2.0
# Counts the tests of a ctest run. The input names the files that it left, one a line:
#
#   *.tests        which tests each process of a test program has, as lines "<process> <test>"
#   ctest.junit    what ctest says of each process that it ran, test program or not
#   <process>.xml  what GoogleTest in a process says of its tests
#
# The output is "PASSED FAILED SKIPPED". Of the tests of a process that was run, each that has neither
# passed nor been skipped by its report has failed; if the process did not end well, one at least has.
# Which tests of a suite were skipped or never ended, ctest does not say: stderr does.

function attribute(name) {
    if (!match($0, " " name "=\"[^\"]*\"")) {
        return ""
    }
    return substr($0, RSTART + length(name) + 3, RLENGTH - length(name) - 4)
}

# The next line of the report of a process. The lines of a test's output don't begin like these.
function read_report(process) {
    if ($0 ~ /^    <testcase /) {
        test = process " " attribute("classname") "." attribute("name")
        outcome[test] = attribute("result")
    } else if ($0 ~ /^      <failure /) {
        outcome[test] = "failed"
    }
}

# The next line of ctest's report, in which the angle brackets of a test's output are escaped.
function read_ctest_report() {
    if ($0 ~ /^\t*<testcase /) {
        ran = attribute("name")
        status[ran] = attribute("status")
    } else if ($0 ~ /^\t*<skipped message="SKIP_/) {
        status[ran] = "skipped"
    }
}

# The input is read on as $0 within.
{
    file = $0
    process = file
    sub(/^.*\/reports\//, "", process)
    is_report = sub(/[.]xml$/, "", process)
    while ((getline < file) > 0) {
        if (is_report) {
            read_report(process)
        } else if (file ~ /[.]junit$/) {
            read_ctest_report()
        } else {
            tests[$1] = tests[$1] " " $2
        }
    }
    close(file)
}

function is_skip(what) {
    return what ~ /^(skipped|suppressed|disabled)$/
}

END {
    for (process in status) {
        ended_well = status[process] == "run" || is_skip(status[process])
        if (!(process in tests)) {
            ++total[!ended_well ? "failed" : is_skip(status[process]) ? "skipped" : "passed"]
            continue
        }
        split("", sum)
        count = split(tests[process], names, " ")
        for (i = 1; i <= count; ++i) {
            test = process " " names[i]
            was = test in outcome ? outcome[test] : "not ended"
            ++sum[was == "completed" ? "passed" : is_skip(was) ? "skipped" : "failed"]
            if (is_skip(was) ? status[process] == "run" : was == "not ended" && count > 1) {
                print process ": " names[i] " " was > "/dev/stderr"
            }
        }
        if (!ended_well && !sum["failed"]) {
            --sum[sum["passed"] ? "passed" : "skipped"]
            ++sum["failed"]
        }
        for (kind in sum) {
            total[kind] += sum[kind]
        }
    }
    print total["passed"] + 0, total["failed"] + 0, total["skipped"] + 0
}
