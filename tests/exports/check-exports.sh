#!/bin/sh
# check-exports.sh LIBRARY EXPECTED
# Fails when LIBRARY exports a symbol outside the public namespaces, an
# internal one (detail::, anonymous namespaces), or lacks a symbol that
# EXPECTED lists (one demangled name prefix a line, "#" comments allowed).
set -u
lib="$1"; expected="$2"
symbols="$(nm -D --defined-only -C "$lib" | sed -E 's/^[0-9a-f]+ [A-Za-z] //')"
status=0
bad="$(printf '%s\n' "$symbols" | grep -v -E '^((typeinfo( name)?|vtable) for )?(nev|kov|jor|tud)::' | grep -v -E '^(_init|_fini)$' | grep -v '^$')"
if [ -n "$bad" ]; then
  echo "exported outside the public namespaces:"; printf '%s\n' "$bad"; status=1
fi
internal="$(printf '%s\n' "$symbols" | grep -E 'detail::|anonymous namespace')"
if [ -n "$internal" ]; then
  echo "internal symbols exported:"; printf '%s\n' "$internal"; status=1
fi
grep -v -E '^\s*(#|$)' "$expected" | while IFS= read -r want; do
  printf '%s\n' "$symbols" | grep -F -q -- "$want" || { echo "missing export: $want"; echo x > "${TMPDIR:-/tmp}/exports-missing.$$"; }
done
if [ -e "${TMPDIR:-/tmp}/exports-missing.$$" ]; then rm -f "${TMPDIR:-/tmp}/exports-missing.$$"; status=1; fi
count="$(printf '%s\n' "$symbols" | grep -c .)"
[ "$status" -eq 0 ] && echo "$(basename "$lib"): $count exported symbols, all public"
exit "$status"
