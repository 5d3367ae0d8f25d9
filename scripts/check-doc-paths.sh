#!/usr/bin/env bash
# check-doc-paths.sh [ROOT [DOC...]]: every repository path that a document
# names must exist. ROOT defaults to this repository, DOC to
# docs/architecture.md (relative to ROOT).
#
# A path is a word that begins with src/, tools/, tests/, docs/, scripts/,
# bench/, fuzz/ or resources/ (in prose, backticks, table cells or diagrams).
# "a/B.{h,cpp}" names a/B.h and a/B.cpp; a word with * or ? must match at
# least one path; a word with <...> is a pattern ("tests/<folder>/") and is
# not checked. Trailing punctuation is not part of the path.
# Prints each path that does not exist with its line; exit 1 if any.
set -euo pipefail
root=${1:-"$(dirname "$0")/.."}
cd "$root"
shift || true
docs=("$@")
[ ${#docs[@]} -ne 0 ] || docs=(docs/architecture.md)

missing=0
checked=0

# "a/{b,c}/d" -> a/b/d a/c/d (one pair of braces at a time).
expand_braces() {
    local word=$1
    if [[ "$word" =~ ^([^{]*)\{([^}]*)\}(.*)$ ]]; then
        local head=${BASH_REMATCH[1]} body=${BASH_REMATCH[2]} tail=${BASH_REMATCH[3]} part
        local IFS=,
        for part in $body; do expand_braces "$head$part$tail"; done
    else
        printf '%s\n' "$word"
    fi
}

exists() {
    local path=$1
    if [[ "$path" == *[*?]* ]]; then
        compgen -G "$path" >/dev/null
    else
        [ -e "$path" ]
    fi
}

for doc in "${docs[@]}"; do
    [ -f "$doc" ] || { echo "$doc: no such document"; missing=$((missing + 1)); continue; }
    lineno=0
    while IFS= read -r line || [ -n "$line" ]; do
        lineno=$((lineno + 1))
        while IFS= read -r word; do
            [ -n "$word" ] || continue
            [[ "$word" == *'<'* ]] && continue
            word=${word%%[.,:;)]}
            word=${word%%[.,:;)]}
            while IFS= read -r path; do
                checked=$((checked + 1))
                if ! exists "$path"; then
                    echo "$doc:$lineno: $path does not exist"
                    missing=$((missing + 1))
                fi
            done < <(expand_braces "$word")
        done < <(grep -oE '(^|[^A-Za-z0-9_./$~-])(src|tools|tests|docs|scripts|bench|fuzz|resources)/[^][[:space:]`|"'"'"'(]*' <<<"$line" |
            sed -E 's/^[^a-z]//')
    done <"$doc"
done

if [ "$missing" -ne 0 ]; then
    echo "doc paths: $missing path(s) named in ${docs[*]} do not exist"
    exit 1
fi
echo "doc paths: the $checked path(s) named in ${docs[*]} exist"
