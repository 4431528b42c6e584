# Shared scaffolding of the end-to-end check scripts: source it with the
# script's arguments (QVICE WORKDIR). It moves into a fresh WORKDIR and
# provides new_package, expect, finish and the common table definitions.
set -uo pipefail
qvice=$(realpath "$1")
work=$2
rm -rf "$work" && mkdir -p "$work" && cd "$work" || exit 1
passed=0
failed=0
T=$'\t'

# check NAME EXPECTED ACTUAL: one comparison, the difference shown on failure.
check() {
    if [ "$2" == "$3" ]; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        printf 'FAILED: %s\n' "$1"
        diff <(printf '%s\n' "$2") <(printf '%s\n' "$3") | head -40
    fi
}

# run ARGS...: stdout, stderr and the exit code of qvice ARGS, as one text.
run() {
    local out rc
    out=$("$qvice" "$@" 2> err.txt)
    rc=$?
    printf '%s\n[stderr] %s\n[exit] %s' "$out" "$(cat err.txt)" "$rc"
}

# new_package_with_template NAME TEMPLATE QUERY...: one msibuild run per query.
new_package_with_template() {
    local msi=$1.msi template=$2
    shift 2
    rm -f "$msi"
    msibuild "$msi" -s "$1" qvice "$template" '{11111111-2222-3333-4444-555555555555}' >/dev/null 2>&1 || return 1
    local q
    for q in "$@"; do
        msibuild "$msi" -q "$q" >/dev/null 2>&1 || { echo "msibuild failed: $q"; return 1; }
    done
}

# new_package NAME QUERY...: the same with the template ";1033".
new_package() {
    local name=$1
    shift
    new_package_with_template "$name" ';1033' "$@"
}

# expect NAME CHECK LINE...: qvice's output must be exactly these lines.
# Options that expect passes to qvice besides the check.
EXTRA_ARGS=()
expect() {
    local name=$1 check=$2
    shift 2
    local want got
    want=$(printf '%s\n' "$@")
    got=$("$qvice" --no-reference "${EXTRA_ARGS[@]}" --checks "$check" "$name.msi" 2>&1)
    if [ "$got" == "$want" ]; then
        passed=$((passed + 1))
    else
        failed=$((failed + 1))
        echo "FAIL $check on $name"
        diff <(echo "$want") <(echo "$got")
    fi
}

# finish: the closing count; the script's status is its failures.
finish() {
    echo "$passed passed, $failed failed"
    [ "$failed" -eq 0 ]
}

DIR="CREATE TABLE \`Directory\` (\`Directory\` CHAR(72) NOT NULL, \`Directory_Parent\` CHAR(72), \`DefaultDir\` CHAR(255) NOT NULL LOCALIZABLE PRIMARY KEY \`Directory\`)"
dir_row() { echo "INSERT INTO \`Directory\` (\`Directory\`, \`Directory_Parent\`, \`DefaultDir\`) VALUES ('$1', '$2', '$3')"; }
COMP="CREATE TABLE \`Component\` (\`Component\` CHAR(72) NOT NULL, \`ComponentId\` CHAR(38), \`Directory_\` CHAR(72) NOT NULL, \`Attributes\` SHORT NOT NULL, \`Condition\` CHAR(255), \`KeyPath\` CHAR(72) PRIMARY KEY \`Component\`)"
