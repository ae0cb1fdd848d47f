#!/usr/bin/env bash
# The installer package in fresh Wine prefixes. Installed, it registers what regsvr32 of the same DLL
# registers in another fresh prefix, and the console host loads the installed snap-in; the same
# version again is refused; removal leaves the registry as it was, a foreign snap-in's value in a shared
# Namespace key included; an older version is upgraded in place, and is refused over the newer one; a
# package failing late leaves nothing.
#   package_wine_test.sh PACKAGE.msi OLDER.msi PACKAGE_FILES_DIR CONSOLE.exe SAMPLE_PLUGINS_DIR VERSION WORK_DIR
set -uo pipefail
[[ $# -eq 7 ]] || { echo "usage: $0 PACKAGE.msi OLDER.msi FILES_DIR CONSOLE.exe PLUGINS_DIR VERSION WORK_DIR"; exit 2; }
msi=$(realpath "$1") older=$(realpath "$2") files=$(realpath "$3") console=$(realpath "$4")
plugins=$(realpath "$5") version=$6 work=$(realpath -m "$7")
repo_root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY

product='Vantorix Keystone Admin Tools GPO Snap-in'
install_dir='C:\Program Files\Vantorix\Keystone Admin Tools'
namespace='HKLM\Software\Microsoft\MMC\NodeTypes\{8FC0B73A-A0E1-11D1-A7D3-0000F87571E3}\Extensions\Namespace'
foreign='{0C0A0C0A-1111-2222-3333-444455556666}'
# Keys Wine fills on the first use of its certificate stores and network adapters (by the console).
first_use='^[+-] HKEY_LOCAL_MACHINE\\Software\\(Wow6432Node\\)?Microsoft\\(SystemCertificates|Windows NT\\CurrentVersion\\NetworkCards)([\\	]|$)'
# Windows Installer's own records of a product, which regsvr32 has no counterpart of ...
bookkeeping='^[+-] HKEY_LOCAL_MACHINE\\Software\\(Classes\\Installer|Microsoft\\Windows\\CurrentVersion\\(Installer|Uninstall))([\\	]|$)'
# ... and the keys that hold them, which stay once made (every Windows machine has them).
containers='^\+ HKEY_LOCAL_MACHINE\\Software\\(Classes\\Installer(\\Features|\\Products|\\UpgradeCodes)?|Microsoft\\Windows\\CurrentVersion\\Installer\\(UpgradeCodes|UserData(\\S-1-5-18(\\Components|\\Products)?)?))$'
failures=0

check() {  # check DESCRIPTION COMMAND...
  if "${@:2}"; then echo "ok: $1"; else echo "FAILED: $1"; failures=$((failures + 1)); fi
}
in_prefix() { WINEPREFIX=$1 "${@:2}"; }
windows_path() { printf 'Z:%s' "${1//\//\\}"; }
unix_dir() { printf '%s/drive_c/%s' "$1" "$(printf '%s' "${2#C:\\}" | tr '\\' /)"; }

# HKLM\Software as sorted lines "KEY" and "KEY<tab>VALUE", the install folder written <DIR> whether it
# ends in a backslash (the installer's [INSTALLDIR]) or not (RegisterTypeLib's HELPDIR).
snapshot() {  # snapshot PREFIX OUT
  in_prefix "$1" wine reg export 'HKLM\Software' 'C:\vx-snapshot.reg' /y >/dev/null || return 1
  iconv -f UTF-16 -t UTF-8 "$1/drive_c/vx-snapshot.reg" | tr -d '\r' | awk '
    NR == 1 || /^$/ { next }
    /^\[/ { key = substr($0, 2, length($0) - 2); print key; next }
    { line = $0
      while (line ~ /\\$/ && (getline more) > 0) { sub(/^ +/, "", more); line = substr(line, 1, length(line) - 1) more }
      print key "\t" line }' |
    sed -E 's/C:\\\\Program Files\\\\Vantorix\\\\Keystone Admin Tools(\\\\)?"/<DIR>"/; s/C:\\\\Program Files\\\\Vantorix\\\\Keystone Admin Tools\\\\/<DIR>\\\\/' |
    LC_ALL=C sort >"$2"
}
# What changed from one snapshot to another, as "+ line" and "- line", but for Wine's first-use keys
# and what matches FILTER.
changes() {  # changes FROM TO [FILTER]
  diff "$1" "$2" | sed -n 's/^> /+ /p; s/^< /- /p' | grep -Ev "$first_use" | grep -Ev "${3:-^$}" | LC_ALL=C sort
}
unchanged() {  # unchanged FROM TO [FILTER]: nothing changed, else what did is shown
  local found
  found=$(changes "$@")
  [[ -z $found ]] && return 0
  head -n 40 <<<"$found"
  return 1
}
same() {  # same EXPECTED ACTUAL: equal files, else the difference shown
  cmp -s "$1" "$2" && return 0
  diff "$1" "$2" | head -n 40
  return 1
}
arp_entries() { grep -c "Uninstall\\\\{.*}	\"DisplayName\"=\"$product\"" "$1"; }
msiexec() {  # msiexec PREFIX ARGS...: the installer's exit code (its low byte, as Wine passes it on)
  in_prefix "$1" wine msiexec "${@:2}" /qn
}

# A fresh prefix as on a machine with the client's credential plug-ins (the samples), a foreign
# extension in one shared Namespace key and a foreign interface in the 32-bit view (in a fresh prefix
# its Interface key is empty, and the installer removes the keys it leaves empty), made once per Wine
# version; the test's prefixes are copies.
template=$work/template
make_template() {
  local stamp
  stamp="$(wine --version) $plugins $(sha1sum <"${BASH_SOURCE[0]}")"
  [[ -f $template/.vx-template && $(cat "$template/.vx-template") == "$stamp" ]] && return 0
  rm -rf "$template"
  mkdir -p "$work"
  in_prefix "$template" wineboot -i >/dev/null 2>&1 && touch "$template/.vx-prefix-ready" &&
    VX_WINEPREFIX=$template "$repo_root/scripts/register-plugins" "$plugins" >/dev/null 2>&1 &&
    in_prefix "$template" wine reg add "$namespace" /v "$foreign" /d 'Another snap-in' /f >/dev/null &&
    in_prefix "$template" wine reg add 'HKLM\Software\Classes\Interface\'"$foreign" /ve /d IAnother /reg:32 /f >/dev/null &&
    snapshot "$template" "$work/template.txt" && in_prefix "$template" wineserver -w &&
    echo "$stamp" >"$template/.vx-template"
}
fresh() {
  rm -rf "$1"
  cp -a "$template" "$1"
}

for file in "$msi" "$older" "$files/VXGPOSnapin.dll" "$console"; do
  [[ -f $file ]] || { echo "missing: $file"; exit 1; }
done
make_template || { echo "FAILED: cannot make the template prefix"; exit 1; }
base=$work/template.txt

# regsvr32 of the package's DLL, in the place the package puts it.
regsvr=$work/regsvr32
fresh "$regsvr" || exit 1
mkdir -p "$(unix_dir "$regsvr" "$install_dir")" && cp -r "$files"/. "$(unix_dir "$regsvr" "$install_dir")"
in_prefix "$regsvr" wine regsvr32 /s "$install_dir\\VXGPOSnapin.dll"
check "regsvr32 registers the DLL" test $? -eq 0
snapshot "$regsvr" "$work/regsvr32.txt"
changes "$base" "$work/regsvr32.txt" >"$work/expected.txt"
check "regsvr32 wrote the type library in both views" \
  test "$(grep -ic 'TypeLib\\{7B9E7131-B528-450C-A637-7ECE1E77E76C}\\1.0\\0\\win64	@=' "$work/expected.txt")" -eq 3
check "regsvr32 wrote the snap-in's keys" grep -q 'CLSID\\{0471D727-58C9-47C4-8350-7D99EB9B60EB}\\InprocServer32' "$work/expected.txt"

prefix=$work/msiexec
fresh "$prefix" || exit 1
msiexec "$prefix" /i "$(windows_path "$msi")"
check "the package installs" test $? -eq 0
snapshot "$prefix" "$work/installed.txt"
changes "$base" "$work/installed.txt" "$bookkeeping" >"$work/installed-changes.txt"
check "the package registers exactly what regsvr32 does" same "$work/expected.txt" "$work/installed-changes.txt"
installed=$(unix_dir "$prefix" "$install_dir")
check "the DLL, its language module and help file are installed, nothing else" \
  test "$(cd "$installed" && find . -type f | LC_ALL=C sort | tr '\n' ' ')" = \
  "./VXGPOSnapin.dll ./en-US/VXGPOSnapin.chm ./en-US/VXGPOSnapin.dll.mui "
check "one uninstall entry" test "$(arp_entries "$work/installed.txt")" -eq 1

rm -rf "$work/gpo" && cp -r "$repo_root/samples/gpo" "$work/gpo" && rm -f "$work/gpo/make_sample.py"
output=$(VX_WINEPREFIX=$prefix timeout 120 "$repo_root/scripts/wine-run" --display "$console" "$(windows_path "$work/gpo")" \
  --expand-to Authentication --exit 2>&1)
check "the console host loads the installed snap-in ($(grep -o '[0-9]* extension(s) loaded' <<<"$output"))" \
  grep -qE 'console: [1-9][0-9]* extension\(s\) loaded' <<<"$output"

msiexec "$prefix" /i "$(windows_path "$msi")"
check "the same version again is refused" test $? -eq $((1603 % 256))
snapshot "$prefix" "$work/again.txt"
check "the refused install changed nothing" unchanged "$work/installed.txt" "$work/again.txt"
check "the installed files stay" test -f "$installed/VXGPOSnapin.dll"

msiexec "$prefix" /x "$(windows_path "$msi")"
check "the package uninstalls" test $? -eq 0
snapshot "$prefix" "$work/removed.txt"
check "removal leaves the registry as before" unchanged "$base" "$work/removed.txt" "$containers"
check "the foreign Namespace value stays" grep -q "	\"$foreign\"=\"Another snap-in\"" "$work/removed.txt"
check "removal leaves no files" test ! -e "$(dirname "$installed")"

msiexec "$prefix" /i "$(windows_path "$older")"
check "the older version installs" test $? -eq 0
msiexec "$prefix" /i "$(windows_path "$msi")"
check "the package upgrades the older version" test $? -eq 0
snapshot "$prefix" "$work/upgraded.txt"
check "one product after the upgrade" test "$(arp_entries "$work/upgraded.txt")" -eq 1
check "it is version $version" grep -q "	\"DisplayVersion\"=\"$version\"" "$work/upgraded.txt"
changes "$base" "$work/upgraded.txt" "$bookkeeping" >"$work/upgraded-changes.txt"
check "the upgraded registration is the one regsvr32 writes" same "$work/expected.txt" "$work/upgraded-changes.txt"
msiexec "$prefix" /i "$(windows_path "$older")"
check "the older version over the newer is refused" test $? -eq $((1603 % 256))
msiexec "$prefix" /x "$(windows_path "$msi")"
snapshot "$prefix" "$work/removed.txt"
check "the upgraded product uninstalls cleanly" unchanged "$base" "$work/removed.txt" "$containers"

# The package with an error action just before the end of its install: all it did is rolled back.
failing=$work/failing.msi
cp "$msi" "$failing" && msibuild "$failing" \
  -q "INSERT INTO \`CustomAction\` (\`Action\`, \`Type\`, \`Source\`, \`Target\`) VALUES ('VxFailLate', 19, '', 'late failure')" \
  -q "INSERT INTO \`InstallExecuteSequence\` (\`Action\`, \`Condition\`, \`Sequence\`) VALUES ('VxFailLate', 'NOT REMOVE', 6590)"
msiexec "$prefix" /i "$(windows_path "$failing")"
check "a failing install reports the failure" test $? -eq $((1603 % 256))
snapshot "$prefix" "$work/failed.txt"
check "a failing install leaves the registry as before" unchanged "$base" "$work/failed.txt" "$containers"
check "a failing install leaves no files" test ! -e "$(dirname "$installed")"

in_prefix "$regsvr" wineserver -k 2>/dev/null
in_prefix "$prefix" wineserver -k 2>/dev/null
if ((failures == 0)); then rm -rf "$regsvr" "$prefix"; fi  # kept for a look after a failure
echo "package test: $failures failure(s)"
[ "$failures" -eq 0 ]
