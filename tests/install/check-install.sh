#!/usr/bin/env bash
# check-install.sh BUILD STAGE BINDIR DATADIR MANDIR with-qt|without-qt
# Runs `cmake --install BUILD --prefix STAGE`, then checks every file the
# install rules promise is there and that the installed programs run.
set -uo pipefail
build=$1 stage=$2 bindir=$3 datadir=$4 mandir=$5 qt=$6
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

rm -rf "$stage"
if ! cmake --install "$build" --prefix "$stage" >"$stage.log" 2>&1; then
    cat "$stage.log"
    echo "FAIL: cmake --install"
    exit 1
fi

expect=("$bindir/btconf-cli" "$bindir/nvmsim" "$mandir/man1/btconf-cli.1" "$mandir/man1/nvmsim.1")
if [ "$qt" = with-qt ]; then
    expect+=("$bindir/btconf" "$mandir/man1/btconf.1" "$datadir/btconf/BTCONF.HLP"
             "$datadir/applications/com.example.norvane.btconf.desktop"
             "$datadir/metainfo/com.example.norvane.btconf.metainfo.xml"
             "$datadir/icons/hicolor/scalable/apps/btconf.svg"
             "$datadir/icons/hicolor/256x256/apps/btconf.png")
fi
for f in "${expect[@]}"; do
    [ -s "$stage/$f" ] || fail "missing or empty: $f"
done
for p in btconf-cli nvmsim btconf; do
    [ -e "$stage/$bindir/$p" ] || continue
    [ -x "$stage/$bindir/$p" ] || fail "not executable: $bindir/$p"
done

# The installed help file is the shipped one, where the installed program
# looks for it: ../share/btconf relative to its binary.
src=$(dirname "$0")/../../docs
if [ "$qt" = with-qt ]; then
    cmp -s "$src/BTCONF.HLP" "$stage/$datadir/btconf/BTCONF.HLP" || fail "BTCONF.HLP differs"
    [ -s "$stage/$bindir/../share/btconf/BTCONF.HLP" ] || fail "help not at bin/../share/btconf"
fi

# Each installed program answers --help with its usage and exit status 0.
run_help() {
    local program=$1 word=$2 out
    out=$(QT_QPA_PLATFORM=offscreen timeout 20 "$stage/$bindir/$program" --help 2>&1)
    local rc=$?
    [ $rc -eq 0 ] || fail "$program --help exited with $rc: $out"
    grep -q "$word" <<<"$out" || fail "$program --help printed no usage: $out"
}
run_help btconf-cli "Usage: btconf-cli"
run_help nvmsim "Usage: nvmsim"
if [ "$qt" = with-qt ]; then
    run_help btconf "Usage: btconf"
    # The installed program finds the installed help file.
    want=$(cd "$stage/$datadir/btconf" && pwd -P)/BTCONF.HLP
    got=$(QT_QPA_PLATFORM=offscreen timeout 20 "$stage/$bindir/btconf" --help | sed -n 's/^Help file: //p')
    [ "$(readlink -f "$got" 2>/dev/null)" = "$want" ] || fail "installed btconf looks for help at '$got', not $want"
fi

# The installed nvmsim serves a module that the installed btconf-cli reads.
link="$stage/nvm"
"$stage/$bindir/nvmsim" --link "$link" >"$stage/nvmsim.out" 2>&1 &
sim=$!
for _ in $(seq 100); do [ -e "$link" ] && break; sleep 0.05; done
if timeout 30 "$stage/$bindir/btconf-cli" read "$link" -o "$stage/module.bcf" >"$stage/read.out" 2>&1; then
    [ -s "$stage/module.bcf" ] || fail "btconf-cli read wrote nothing"
else
    fail "installed btconf-cli read: $(cat "$stage/read.out")"
fi
kill "$sim" 2>/dev/null
wait "$sim" 2>/dev/null

# The menu entry and the metainfo pass their validators (when installed).
if [ "$qt" = with-qt ] && command -v desktop-file-validate >/dev/null; then
    out=$(desktop-file-validate "$stage/$datadir/applications/com.example.norvane.btconf.desktop" 2>&1)
    [ $? -eq 0 ] && [ -z "$out" ] || fail "desktop-file-validate: $out"
fi
if [ "$qt" = with-qt ] && command -v appstreamcli >/dev/null; then
    out=$(appstreamcli validate --no-net --pedantic \
          "$stage/$datadir/metainfo/com.example.norvane.btconf.metainfo.xml" 2>&1) ||
        fail "appstreamcli validate: $out"
fi

# Man pages format without errors.
if command -v man >/dev/null; then
    for page in "$stage/$mandir"/man1/*.1; do
        LC_ALL=C.UTF-8 man -l "$page" >/dev/null 2>"$stage/man.err" || fail "man $page: $(cat "$stage/man.err")"
    done
fi

if [ $failures -ne 0 ]; then
    echo "$failures check(s) failed"
    exit 1
fi
echo "installed into $stage: all present and running"
find "$stage" -type f -path "$stage/bin/*" -o -type f -path "$stage/share/*" | sort
