#!/usr/bin/env bash
# Starts one persistent wineserver and Wine's own services for a test run.
# The services are started here, with no pipe of ours as their output: started
# by the first test program instead, they would inherit ctest's pipe and keep
# it open, and ctest would wait on it until its time-out. Stop with
# `wineserver -k`.
export WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
wineserver -p
wine cmd /c exit 0 </dev/null >/dev/null 2>&1 || true
