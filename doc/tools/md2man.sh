#!/bin/sh
# Makes one reference page from its Markdown source with pandoc, and tidies
# what pandoc writes so that mandoc -Tlint and man --warnings report nothing:
# no paragraph macro right after a section heading, and inline code and
# code blocks in fonts that every man formatter knows.
#   md2man.sh PANDOC TEMPLATE SOURCE OUTPUT SECTION VERSION DATE
set -eu
pandoc=$1 template=$2 source=$3 output=$4 section=$5 version=$6 date=$7
page=$(basename "$source" .md)
title=$(printf '%s' "$page" | tr '[:lower:]' '[:upper:]')
"$pandoc" --standalone --from markdown-smart --to man --template="$template" \
    --metadata title="$title" --metadata section="$section" \
    --metadata date="$date" --metadata footer="libkxsupp $version" \
    --metadata header="libkxsupp Manual" \
    --metadata source="man$section/$page.md" "$source" |
awk '
    /^\.S[HS] / { print; heading = 1; next }
    heading && $0 == ".PP" { heading = 0; next }
    { heading = 0
      gsub(/\\f\[V\]/, "\\f[B]")
      gsub(/\\f\[C\]/, "\\f[CR]")
      print }
' >"$output.tmp"
mv "$output.tmp" "$output"
