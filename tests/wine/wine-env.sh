# Sourced by the wine tests: a private Wine prefix under the test's build
# folder, made once, no display, no debugger dialog on a crash, and the
# prefix's own wineserver stopped when the test ends. A test that cannot run
# because Wine is missing, or cannot start on this machine, exits with 77,
# which CTest reports as not run.
QV_WINE_SKIP=77
if ! command -v wine >/dev/null 2>&1; then
  echo "wine: NOT RUN: wine is not installed (bash scripts/setup-wine.sh installs it)"
  exit $QV_WINE_SKIP
fi
# Wine's loader for a 32-bit prefix is itself a 32-bit program: a kernel
# without 32-bit support (some virtual machines) refuses it, and the shell
# answers 126.
if WINEARCH=win32 wine --version >/dev/null 2>&1; [ $? -eq 126 ]; then
  echo "wine: NOT RUN: this machine cannot run 32-bit programs ($(WINEARCH=win32 wine --version 2>&1 | tail -1))"
  exit $QV_WINE_SKIP
fi
export WINEPREFIX="${QV_WINEPREFIX:?QV_WINEPREFIX names the test prefix}"
export WINEARCH=win32 WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY WAYLAND_DISPLAY
trap 'wineserver -k >/dev/null 2>&1 || true' EXIT
if [ ! -f "$WINEPREFIX/.qv-ready" ]; then
  rm -rf "$WINEPREFIX"
  mkdir -p "$(dirname "$WINEPREFIX")"
  wineboot -i >/dev/null 2>&1
  wine reg add 'HKCU\Software\Wine\WineDbg' /v ShowCrashDialog /t REG_DWORD /d 0 /f >/dev/null 2>&1
  wineserver -w
  touch "$WINEPREFIX/.qv-ready"
fi
