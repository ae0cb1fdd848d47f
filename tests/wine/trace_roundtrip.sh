#!/usr/bin/env bash
# A Windows program configured through the Wine registry traces; the native reader decodes its file.
# Then a second run with NewFileAlways 0 appends an 'N' record and no second header.
#   trace_roundtrip.sh TRACE_DEMO.exe NATIVE_VXTRACE
set -uo pipefail
demo=$1
vxtrace=$2
repo_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
run="$repo_root/scripts/wine-run"
export VX_WINEPREFIX=${VX_WINEPREFIX:-$repo_root/build/windows/wineprefix}
key='HKLM\SOFTWARE\Vantorix\Tracing'
dir="$VX_WINEPREFIX/drive_c/vxtrace-roundtrip"
failures=0

check() {  # check DESCRIPTION COMMAND...
  if "${@:2}"; then echo "ok: $1"; else echo "FAILED: $1"; failures=$((failures + 1)); fi
}
count() { grep -c "$@"; }

[ -x "$vxtrace" ] || { echo "native vxtrace not built: $vxtrace"; exit 1; }
"$run" reg delete "$key" /f >/dev/null 2>&1
rm -rf "$dir"
"$run" reg add "$key" /v DoTrace /t REG_DWORD /d 1 /f >/dev/null || exit 1
"$run" reg add "$key" /v TracePath /t REG_SZ /d 'C:\vxtrace-roundtrip\nested' /f >/dev/null || exit 1

"$run" "$demo" || { echo "FAILED: the demo program exited with $?"; exit 1; }
file=$(ls "$dir"/nested/trace_demo.trace_demo.exe.x64.*.trc3 2>/dev/null | head -n 1)
check "TracePath and its parent were created and the generated name used" test -n "$file"
[ -n "$file" ] || exit 1

out=$(mktemp)
trap 'rm -f "$out"' EXIT
"$vxtrace" "$file" >"$out"
check "vxtrace reads the whole first run" test $? -eq 0
check "header names the program as the module" grep -q 'File location: .*trace_demo.exe' "$out"
check "four operations entered" test "$(count -E '> +CTraceDemo::Operation' "$out")" -eq 4
check "messages carry narrow and wide arguments" grep -qE ' U +round 2 of demo, wide été$' "$out"
check "the checked failure is traced with file, line and expression" \
  grep -qE ' E +-2147024891 \[[0-9]+ : trace_demo.cpp\] E_ACCESSDENIED$' "$out"
enters=$(grep -cE ' [0-9A-F]{8} > ' "$out")
exits=$(grep -cE ' [0-9A-F]{8} <$' "$out")
check "every scope exits, also the ones a failure passed through ($enters, $exits)" test "$enters" -eq "$exits"

"$run" reg add "$key" /v NewFileAlways /t REG_DWORD /d 0 /f >/dev/null || exit 1
"$run" "$demo" || { echo "FAILED: the second run exited with $?"; exit 1; }
"$vxtrace" "$file" >"$out"
check "vxtrace reads the appended file" test $? -eq 0
check "one header only" test "$(count '^trace3$' "$out")" -eq 1
check "the second run starts with an N separator" test "$(grep -c 'new run' "$out")" -eq 1
check "both runs' records are there" test "$(count -E '> +CTraceDemo::Operation' "$out")" -eq 8

"$run" reg delete "$key" /f >/dev/null 2>&1
[ "$failures" -eq 0 ]
