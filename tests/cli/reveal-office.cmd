# A document with everything, one with nothing, a template (its kind is told by the extension), and one that is none.
"$NULLPRINT" --reveal Report.docx Clean.xlsx Letter.dotx text.pptx missing.docx
