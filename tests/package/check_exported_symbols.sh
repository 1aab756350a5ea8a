#!/usr/bin/env bash
# Compares the dynamic symbols a shared library of the kit defines with the
# reviewed list of its public API, and prints what was added or removed.
# Symbols of the standard library and of OpenCV that the compiler emits for
# their templates are left out: they are not the kit's API.
# Usage: check_exported_symbols.sh LIBRARY REVIEWED_LIST [--update]
set -euo pipefail
library=$1
reviewed=$2

exported() {
  nm -D --defined-only --format=posix "$library" | cut -d' ' -f1 | c++filt |
    grep -Ev '^(_init|_fini|_edata|_end|__bss_start)$' |
    grep -Ev '^((typeinfo|typeinfo name|vtable|VTT|guard variable|construction vtable) for |non-virtual thunk to )?(std|cv|__gnu_cxx|__cxxabiv1)::' |
    grep -Ev '^[^(]* (std|cv|__gnu_cxx)::[^(]*\(' |
    LC_ALL=C sort -u
}

if [[ "${3:-}" == "--update" ]]; then
  exported > "$reviewed"
  echo "wrote $reviewed: review the change before committing it"
  exit 0
fi

if ! diff <(exported) "$reviewed" > /tmp/exported-symbols.$$ ; then
  echo "$(basename "$library") exports other symbols than the reviewed list $reviewed"
  echo "('<' exported but not in the list, '>' listed but not exported):"
  cat /tmp/exported-symbols.$$
  rm -f /tmp/exported-symbols.$$
  exit 1
fi
rm -f /tmp/exported-symbols.$$
echo "$(basename "$library"): $(wc -l < "$reviewed") exported symbols, as reviewed"
