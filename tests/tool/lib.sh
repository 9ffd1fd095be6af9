# What the tests of the tool share. Usage of a test: NAME.sh TOOL SOURCE_DIR
set -u
tool=$1
source=$2
metadata=$source/examples/metadata
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export QVLIB_REGISTRY=$work/registry
failures=0
out=$work/out
err=$work/err
shape=(-m "$metadata/Shipment.xml" -e "$metadata")

fail() {
    failures=$((failures + 1))
    echo "FAILED (line ${BASH_LINENO[1]}): $*"
    echo "  command: ${last[*]:-}"
    sed 's/^/  out: /' "$out"
    sed 's/^/  err: /' "$err"
}
# expect STATUS WORDS...: runs the tool and compares its exit status.
expect() {
    local wanted=$1
    shift
    last=("$@")
    "$tool" "$@" >"$out" 2>"$err"
    local got=$?
    [ "$got" -eq "$wanted" ] || fail "exit status $got, expected $wanted"
}
# The last command printed, or did not print, this text.
printed() { grep -qF -e "$1" "$out" || fail "stdout lacks: $1"; }
not_printed() { ! grep -qF -e "$1" "$out" || fail "stdout has: $1"; }
told() { grep -qF -e "$1" "$err" || fail "stderr lacks: $1"; }
silent() { [ ! -s "$err" ] || fail "stderr is not empty"; }
absent() { [ ! -e "$1" ] || fail "$1 is there"; }
same() { cmp -s "$1" "$2" || fail "$1 and $2 differ"; }
finish() {
    [ "$failures" -eq 0 ] || exit 1
    exit 0
}
is_json() {
    command -v python3 >/dev/null || return 0
    python3 -m json.tool "$1" >/dev/null || fail "$1 is no JSON"
}
