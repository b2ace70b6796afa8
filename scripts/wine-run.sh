#!/usr/bin/env bash
# Runs a Windows program of the MinGW build under Wine (the CMake cross-compiling emulator).
export WINEPREFIX=${WINEPREFIX:-/opt/lumaro-wineprefix}
export WINEDEBUG=${WINEDEBUG:--all}
export DISPLAY=${DISPLAY:-:0}
exec wine "$@"
