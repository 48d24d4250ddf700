# Four lines for a picture and a file of no known type, and status 0.
"$NULLPRINT" --scrub photo.jpg notes.txt
