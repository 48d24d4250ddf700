"""A document for the judge of Office documents when there are none at hand, and what may go wrong."""

import os
import zipfile

import made

# How a stand-in cleans, and what must be said of its copy.
WRONGS = {
    "copy": "the copy still holds",
    "text": "LibreOffice shows another text",
    "part": "the parts are not the same",
    "rule": "word/document.xml is not what the rules make of it",
    "broken": "word/document.xml is not well-formed any more",
    "position": "left: GPS",
    "pixels": "pixels changed",
    "other": "word/vbaProject.bin was changed",
}
NAMESPACES = (
    'xmlns:w="http://schemas.openxmlformats.org/wordprocessingml/2006/main"'
    ' xmlns:dc="http://purl.org/dc/elements/1.1/"'
    ' xmlns:cp="http://schemas.openxmlformats.org/package/2006/metadata/core-properties"'
)
OFFICE = "http://schemas.openxmlformats.org/officeDocument/2006/relationships"
PACKAGE = "http://schemas.openxmlformats.org/package/2006"
PARTS = {
    "[Content_Types].xml": f'<Types xmlns="{PACKAGE}/content-types">'
    '<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>'
    '<Default Extension="xml" ContentType="application/xml"/>'
    '<Default Extension="jpg" ContentType="image/jpeg"/>'
    '<Default Extension="bin" ContentType="application/octet-stream"/>'
    '<Override PartName="/word/document.xml" ContentType="application/vnd.openxmlformats-'
    'officedocument.wordprocessingml.document.main+xml"/></Types>',
    "_rels/.rels": f'<Relationships xmlns="{PACKAGE}/relationships"><Relationship Id="a" '
    f'Type="{OFFICE}/officeDocument" Target="word/document.xml"/></Relationships>',
    "docProps/core.xml": f"<cp:coreProperties {NAMESPACES}><dc:creator>Jane Roe</dc:creator>"
    "<cp:revision>3</cp:revision></cp:coreProperties>",
    "word/document.xml": f'<w:document {NAMESPACES}><w:body><w:p w:rsidR="00A1B2C3"><w:r><w:t>Plain '
    'words stay. </w:t></w:r><w:ins w:id="1" w:author="Jane Roe" w:date="2024-01-01T00:00:00Z"><w:r>'
    "<w:t>So do these.</w:t></w:r></w:ins></w:p></w:body></w:document>",
    "word/vbaProject.bin": "some program",
}
PHOTO = "photo.jpg"


def make_documents(folder):
    made.make_pictures(os.path.join(folder, "pictures"), (PHOTO,))
    with zipfile.ZipFile(os.path.join(folder, "made.docx"), "w", zipfile.ZIP_DEFLATED) as archive:
        for name, content in PARTS.items():
            archive.writestr(name, content)
        archive.write(os.path.join(folder, "pictures", PHOTO), "word/media/image1.jpg")
    return folder
