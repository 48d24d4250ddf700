# Not an option: the application is meant, which is not part of the command line.
# status: 1
# stderr: Nullprint: this installation has no menu-bar application; see “nullprint --help” for the command line.
"$NULLPRINT" 
