# Names are bytes: quotes, line feeds and what is not UTF-8 come out as they went in.
cp plain.png 'it"s $HOME.png'
cp plain.png "$(printf 'two\nlines.png')"
cp plain.png "$(printf 'latin-\344.png')"
"$NULLPRINT" --scrub 'it"s $HOME.png' "$(printf 'two\nlines.png')" "$(printf 'latin-\344.png')" ""
