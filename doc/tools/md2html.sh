#!/bin/sh
# Makes the HTML form of one reference page; the names of other pages in
# bold with a section, as in SEE ALSO, become links (tools/links.lua reads
# the table of names that the build writes).
#   md2html.sh PANDOC FILTER NAMES SOURCE OUTPUT SECTION VERSION
set -eu
pandoc=$1 filter=$2 names=$3 source=$4 output=$5 section=$6 version=$7
page=$(basename "$source" .md)
KX_DOC_NAMES=$names "$pandoc" --standalone --from markdown-smart --to html5 \
    --lua-filter="$filter" --metadata pagetitle="$page($section) - libkxsupp $version" \
    "$source" -o "$output"
