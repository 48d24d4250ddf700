#include "engine/pdf/worker/Names.h"

namespace nullprint::pdf {
namespace {

bool isMisspelled(const std::string& name)
{
    static const bool isEveryOther = QPDFObjectHandle::newName("/#").unparse() == "/#";
    return isEveryOther && name.find('#') != std::string::npos;
}

bool isMisspelled(QPDFObjectHandle value)
{
    return !value.isIndirect() && value.isName() && isMisspelled(value.getName());
}

std::string withEscapes(std::string name)
{
    constexpr std::string_view escape = "#23";
    for (std::size_t at = name.find('#'); at != std::string::npos;
         at = name.find('#', at + escape.size()))
        name.replace(at, 1, escape);
    return name;
}

} // namespace

QPDFObjectHandle spelled(QPDFObjectHandle name)
{
    const std::string text = name.getName();
    return QPDFObjectHandle::newName(isMisspelled(text) ? withEscapes(text) : text);
}

void spellNames(QPDFObjectHandle array)
{
    const int count = array.getArrayNItems();
    for (int index = 0; index < count; ++index) {
        const QPDFObjectHandle item = array.getArrayItem(index);
        if (isMisspelled(item))
            array.setArrayItem(index, spelled(item));
    }
}

void spellNames(QPDFObjectHandle dictionary, const std::map<std::string, QPDFObjectHandle>& entries)
{
    std::map<std::string, QPDFObjectHandle> respelled;
    for (const auto& [key, value] : entries) {
        const bool isKeyMisspelled = isMisspelled(key);
        if ((!isKeyMisspelled && !isMisspelled(value)) || !dictionary.hasKey(key))
            continue;
        respelled[isKeyMisspelled ? withEscapes(key) : key] =
            isMisspelled(value) ? spelled(value) : value;
        dictionary.removeKey(key);
    }
    // Only now: one key may be spelled as another one was.
    for (const auto& [key, value] : respelled)
        dictionary.replaceKey(key, value);
}

} // namespace nullprint::pdf
