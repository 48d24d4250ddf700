# Not an option: the application is meant, which is not part of the command line.
# needs: nullprint-app.so
# status: 1
# stderr: Nullprint: there is no display for the menu-bar application; see “nullprint --help” for the command line.
"$NULLPRINT" --Scrub photo.jpg
