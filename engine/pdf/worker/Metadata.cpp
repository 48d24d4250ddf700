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

void addIfDirect(QPDFObjectHandle part, std::vector<QPDFObjectHandle>& parts)
{
    if (!part.isIndirect() && (part.isArray() || part.isDictionary()))
        parts.push_back(part);
}

// Cleans a dictionary, and adds the arrays and dictionaries that are part of it. Others are visited
// by themselves.
void cleanDictionary(QPDFObjectHandle dictionary, std::vector<QPDFObjectHandle>& parts)
{
    const auto isOneOf = [](const auto& keys, const std::string& key) {
        return std::ranges::find(keys, key) != keys.end();
    };
    // A copy of the entries, from which none vanishes on the way.
    for (const auto& [key, value] : dictionary.getDictAsMap()) {
        if (isOneOf(removedKeys, key))
            dictionary.removeKey(key);
        else
            addIfDirect(value, parts);
    }
    if (isAnnotation(dictionary))
        clearAnnotation(dictionary);
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
        if (part.isDictionary()) {
            cleanDictionary(part, pending);
        } else if (part.isArray()) {
            for (const QPDFObjectHandle& item : part.aitems())
                addIfDirect(item, pending);
        }
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
