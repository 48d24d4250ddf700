#include "engine/pdf/worker/Names.h"

#include <string_view>

namespace nullprint::pdf {
namespace {

constexpr char sign = '#';
// What the library reads where a number sign begins no escape. It writes the sign alone.
constexpr char straySign = '\0';

// How the library has to be given a number sign.
const std::string& escapedSign()
{
    static const bool isWrittenAlone = QPDFObjectHandle::newName("/#").unparse() == "/#";
    static const std::string escaped = isWrittenAlone ? "#23" : "#";
    return escaped;
}

// Whether a stray sign would begin an escape with what was one itself.
bool beginsEscape(std::string_view name, std::size_t signAt)
{
    constexpr std::size_t length = 2;
    const std::string_view digits = name.substr(signAt + 1, length);
    return digits.size() == length &&
           digits.find_first_not_of("0123456789ABCDEFabcdef") == std::string_view::npos;
}

std::string withEscapes(const std::string& name)
{
    std::string escaped;
    for (std::size_t at = 0; at < name.size(); ++at) {
        if (name[at] == sign || (name[at] == straySign && beginsEscape(name, at)))
            escaped += escapedSign();
        else
            escaped += name[at];
    }
    return escaped;
}

bool isMisspelled(const std::string& name)
{
    constexpr std::string_view signs("\0#", 2);
    return name.find_first_of(signs) != std::string::npos && withEscapes(name) != name;
}

bool isMisspelled(QPDFObjectHandle value)
{
    return !value.isIndirect() && value.isName() && isMisspelled(value.getName());
}

} // namespace

QPDFObjectHandle spelled(QPDFObjectHandle name)
{
    return QPDFObjectHandle::newName(withEscapes(name.getName()));
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
        respelled[withEscapes(key)] = isMisspelled(value) ? spelled(value) : value;
        dictionary.removeKey(key);
    }
    // Only now: one key may be spelled as another one was.
    for (const auto& [key, value] : respelled)
        dictionary.replaceKey(key, value);
}

} // namespace nullprint::pdf
