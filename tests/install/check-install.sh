#!/usr/bin/env bash
# check-install.sh BUILD STAGE BINDIR DATADIR MANDIR DOCDIR with-qt|without-qt [PYDIR]
# Runs `cmake --install BUILD --prefix STAGE`, then checks every file the
# install rules promise is there and that the installed programs run.
# With a Debian package for BUILD (a .deb file), unpacks it into STAGE instead
# (the folders are then usr/bin, usr/share, ...) and also checks that it holds
# nothing else. PYDIR, when given, is the Python module's folder (for Debian
# lib/python3/dist-packages): the module must be there and read the module.
set -uo pipefail
build=$1 stage=$2 bindir=$3 datadir=$4 mandir=$5 docdir=$6 qt=$7 pydir=${8:-}
# An absolute stage: the Python check runs from another folder.
case $stage in /*) ;; *) stage=$PWD/$stage ;; esac
failures=0
fail() { echo "FAIL: $*"; failures=$((failures + 1)); }

rm -rf "$stage"
mkdir -p "$(dirname "$stage")"
if [[ "$build" == *.deb ]]; then
    if ! dpkg-deb -x "$build" "$stage" >"$stage.log" 2>&1; then
        cat "$stage.log"
        echo "FAIL: dpkg-deb -x $build"
        exit 1
    fi
elif ! cmake --install "$build" --prefix "$stage" >"$stage.log" 2>&1; then
    cat "$stage.log"
    echo "FAIL: cmake --install"
    exit 1
fi

expect=("$bindir/btconf-cli" "$bindir/nvmsim" "$mandir/man1/btconf-cli.1.gz"
        "$mandir/man1/nvmsim.1.gz" "$docdir/copyright" "$docdir/changelog.gz")
if [ "$qt" = with-qt ]; then
    expect+=("$bindir/btconf" "$mandir/man1/btconf.1.gz" "$datadir/btconf/BTCONF.HLP"
             "$datadir/applications/com.example.norvane.btconf.desktop"
             "$datadir/metainfo/com.example.norvane.btconf.metainfo.xml"
             "$datadir/icons/hicolor/scalable/apps/btconf.svg"
             "$datadir/icons/hicolor/256x256/apps/btconf.png")
fi
if [ -n "$pydir" ]; then
    module=$(cd "$stage" && ls "$pydir"/btconf.*.so 2>/dev/null | head -n 1)
    [ -n "$module" ] || fail "missing: $pydir/btconf.*.so"
    expect+=(${module:+"$module"})
fi
for f in "${expect[@]}"; do
    [ -s "$stage/$f" ] || fail "missing or empty: $f"
done
if [[ "$build" == *.deb ]]; then
    extra=$(cd "$stage" && find . -type f -o -type l | sed 's|^\./||' | sort |
            comm -23 - <(printf '%s\n' "${expect[@]}" | sort))
    [ -z "$extra" ] || fail "the package holds more than the install rules promise: $extra"
fi
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
# ... and so does the installed Python module, from where it was installed.
if [ -n "$pydir" ]; then
    python=$(command -v /usr/bin/python3 python3 | head -n 1)
    out=$(cd / && PYTHONPATH="$stage/$pydir" timeout 30 "$python" -c "import btconf
with btconf.open('$link') as m:
    print(m.read()['Bluetooth Device Name'])" 2>&1) || fail "installed Python module: $out"
    [ -n "$out" ] || fail "installed Python module read no name"
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

# The compressed files are made by gzip -9n: no file name (flag 0x08) and no
# time in the header, the best compression (extra flags 2), so that every
# build makes the same bytes.
for f in "$stage/$mandir"/man1/*.gz "$stage/$docdir/changelog.gz"; do
    [ -f "$f" ] || continue
    header=$(od -An -tu1 -N9 "$f" | tr -s ' ' | sed 's/^ //')
    read -r id1 id2 method flags t1 t2 t3 t4 xfl <<<"$header"
    [ "$id1 $id2 $method" = "31 139 8" ] || fail "not gzip: $f"
    [ $((flags & 8)) -eq 0 ] || fail "gzip header names the file: $f"
    [ "$t1$t2$t3$t4" = 0000 ] || fail "gzip header holds a time: $f"
    [ "$xfl" = 2 ] || fail "not compressed with -9: $f"
done

# The copyright file is in Debian's machine-readable format; the change log
# is one Debian can read, and its newest entry is the version of the programs.
head -n 1 "$stage/$docdir/copyright" 2>/dev/null |
    grep -qx 'Format: https://www.debian.org/doc/packaging-manuals/copyright-format/1.0/' ||
    fail "copyright: not Debian's copyright format 1.0"
if command -v dpkg-parsechangelog >/dev/null && [ -s "$stage/$docdir/changelog.gz" ]; then
    gzip -dc "$stage/$docdir/changelog.gz" >"$stage.changelog"
    version=$(dpkg-parsechangelog -l "$stage.changelog" -S Version 2>&1) ||
        fail "changelog: dpkg-parsechangelog: $version"
    gzip -dc "$stage/$mandir/man1/btconf-cli.1.gz" 2>/dev/null | grep -qF "\"btconf $version\"" ||
        fail "changelog: newest entry $version is not the version of the manual pages"
fi

# Man pages format without errors.
if command -v man >/dev/null; then
    for page in "$stage/$mandir"/man1/*.1.gz; do
        LC_ALL=C.UTF-8 man -l "$page" >/dev/null 2>"$stage/man.err" || fail "man $page: $(cat "$stage/man.err")"
    done
fi

if [ $failures -ne 0 ]; then
    echo "$failures check(s) failed"
    exit 1
fi
echo "installed into $stage: all present and running"
(cd "$stage" && find . -type f ! -name nvmsim.out ! -name module.bcf ! -name read.out ! -name '*.err' | sed 's|^\./||' | sort)
