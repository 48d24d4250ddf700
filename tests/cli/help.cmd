# The ten lines, under both names; what follows the option is ignored.
"$NULLPRINT" --help
"$NULLPRINT" -h extra words
