"$NULLPRINT" --reveal notes.txt notes Old.doc Budget.XLS archive.tar.gz scan.pdf missing.pdf
