#include "engine/pdf/worker/Metadata.h"

#include <algorithm>
#include <array>

namespace nullprint::pdf {
namespace {

// ISO 32000-2, table 15. Any other entry is some program's own: checksums of the original, the
// document in another format.
constexpr std::array keptTrailerKeys{"/Root", "/Size", "/Encrypt", "/ID"};

// In whatever dictionary they are (ISO 32000-2, 14.3.2 and 14.5).
constexpr std::array removedKeys{"/Metadata", "/PieceInfo", "/LastModified"};

constexpr std::array clearedAnnotationKeys{"/T", "/M", "/CreationDate", "/Subj"};

void clearAnnotation(QPDFObjectHandle annotation)
{
    if (!annotation.isDictionary() || isWidget(annotation))
        return;
    for (const char* key : clearedAnnotationKeys)
        annotation.replaceKey(key, QPDFObjectHandle::newString(""));
    annotation.removeKey("/NM");
}

// No page needs to show an annotation for its author to be in the file.
bool isAnnotation(QPDFObjectHandle dictionary)
{
    return dictionary.getKey("/Type").isNameAndEquals("/Annot") ||
           dictionary.getKey("/Subtype").isNameAndEquals("/Popup");
}

void cleanTrailer(QPDFObjectHandle trailer)
{
    for (const std::string& key : trailer.getKeys()) {
        if (std::ranges::find(keptTrailerKeys, key) == keptTrailerKeys.end())
            trailer.removeKey(key);
    }
}

void cleanAnnotations(PDFFile& file)
{
    for (QPDFObjectHandle annotation : file.annotations()) {
        clearAnnotation(annotation);
        clearAnnotation(annotation.getKey("/Popup"));
        clearAnnotation(annotation.getKey("/IRT"));
    }
}

void cleanDictionary(QPDFObjectHandle dictionary)
{
    for (const char* key : removedKeys) {
        if (dictionary.hasKey(key))
            dictionary.removeKey(key);
    }
    if (isAnnotation(dictionary))
        clearAnnotation(dictionary);
}

// The arrays and dictionaries that are part of one of them. Others are visited by themselves.
void addDirectParts(QPDFObjectHandle container, std::vector<QPDFObjectHandle>& parts)
{
    const auto add = [&parts](QPDFObjectHandle part) {
        if (!part.isIndirect() && (part.isArray() || part.isDictionary()))
            parts.push_back(part);
    };
    if (container.isArray()) {
        for (const QPDFObjectHandle& item : container.aitems())
            add(item);
        return;
    }
    for (const auto& entry : container.ditems())
        add(entry.second);
}

bool isMetadataStream(QPDFObjectHandle dictionary)
{
    auto type = dictionary.getKey("/Type");
    return type.isNameAndEquals("/Metadata") ||
           (type.isNull() && dictionary.getKey("/Subtype").isNameAndEquals("/XML"));
}

void cleanObject(PDFFile& file, QPDFObjectHandle object)
{
    if (object.isStream()) {
        if (isMetadataStream(object.getDict())) {
            file.document.replaceObject(object.getObjGen(), QPDFObjectHandle::newNull());
            return;
        }
        object = object.getDict();
    }
    std::vector<QPDFObjectHandle> pending{object};
    while (!pending.empty()) {
        QPDFObjectHandle part = pending.back();
        pending.pop_back();
        if (part.isDictionary())
            cleanDictionary(part);
        if (part.isDictionary() || part.isArray())
            addDirectParts(part, pending);
    }
}

} // namespace

void removeMetadata(PDFFile& file)
{
    cleanTrailer(file.document.getTrailer());
    cleanAnnotations(file);
    for (const QPDFObjectHandle& object : file.document.getAllObjects())
        cleanObject(file, object);
}

} // namespace nullprint::pdf
