# Entries in the order of the arguments, also when one is there twice; a failure stops nothing.
"$NULLPRINT" --scrub notes.txt plain.png missing.png broken.jpg plain.png Old.doc photo.jpg
ls
