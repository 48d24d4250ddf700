# The sentences for files that are not cleaned. The extension is told in lower case.
"$NULLPRINT" --scrub Old.doc Budget.XLS deck.ppt movie.mp4 archive.tar.gz notes missing.jpg broken.jpg scan.pdf missing.pdf
