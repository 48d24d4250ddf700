# A link is cleaned beside the link; what it leads to stays.
mkdir album
ln -s ../photo.jpg album/link.jpg
"$NULLPRINT" --scrub album/link.jpg
ls -F album
"$NULLPRINT" --inspect album/*
