# Every file gets a report of its own, with heading and footer; folders are not told.
mkdir sub
cp south.jpg sub/plain.png
"$NULLPRINT" --reveal south.jpg plain.png ./sub/plain.png marked.jpg broken.jpg missing.jpg
