# What has no inspector is told by its extension; a document that is none is clean.
"$NULLPRINT" --inspect notes.txt notes Old.doc archive.tar.gz scan.pdf folder/ --reveal
