# What is not a package has no findings.
"$NULLPRINT" --inspect Report.docx Clean.xlsx Letter.dotx text.pptx missing.docx
