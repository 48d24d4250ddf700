#include "engine/package/PackageReader.h"

#include "engine/package/UnpackedSource.h"
#include "engine/package/ZIPDirectory.h"
#include "engine/package/ZIPRecords.h"
#include "engine/support/Text.h"

#include <algorithm>
#include <unordered_set>

namespace nullprint {
namespace {

constexpr const char* encryptedPart = "a part of it is encrypted";
constexpr const char* unknownMethod = "a part of it is packed in an unsupported way";
constexpr const char* unsafeName = "a part of it has an unsafe name";
constexpr const char* wrongSize = "a part of it is damaged";

// Deflate's shortest code for its longest match: two bits for 258 bytes.
constexpr std::uint64_t highestRatio = 1032;

// The steps of a path; nothing when it leads out of its folder or cannot be a path.
std::optional<std::string> safeName(std::string_view stored)
{
    constexpr std::size_t driveLength = 2; // "C:"
    std::string separated(stored);
    std::ranges::replace(separated, '\\', '/');
    if (separated.starts_with('/') || separated.find('\0') != std::string::npos ||
        (separated.size() >= driveLength && separated[1] == ':'))
        return std::nullopt;
    std::string name;
    std::string_view rest(separated);
    while (!rest.empty()) {
        const std::size_t length = std::min(rest.find('/'), rest.size());
        const std::string_view step = rest.substr(0, length);
        rest.remove_prefix(std::min(length + 1, rest.size()));
        if (step == "..")
            return std::nullopt;
        if (step.empty() || step == ".")
            continue;
        name.append(name.empty() ? "" : "/").append(step);
    }
    return name.empty() ? std::nullopt : std::optional(std::move(name));
}

bool isFolder(const zip::Entry& entry)
{
    return entry.name.ends_with('/') || entry.name.ends_with('\\');
}

const char* problemOf(const zip::Entry& entry)
{
    constexpr unsigned anyEncryption =
        zip::encryptedFlag | zip::strongEncryptionFlag | zip::maskedHeaderFlag;
    if ((entry.flags & anyEncryption) != 0)
        return encryptedPart;
    if (entry.method == zip::methodStored)
        return entry.sizeBytes == entry.stored.length ? nullptr : wrongSize;
    if (entry.method != zip::methodDeflated)
        return unknownMethod;
    // No stream of this length can hold as much, so nobody needs to make room for it.
    return entry.sizeBytes / highestRatio > entry.stored.length ? wrongSize : nullptr;
}

PackagePart partOf(const zip::Entry& entry)
{
    PackagePart part;
    const auto name = safeName(entry.name);
    part.name = name.value_or(entry.name);
    part.problem = name ? problemOf(entry) : unsafeName;
    part.usesUTF8 = (entry.flags & zip::utf8Flag) != 0;
    part.isDeflated = entry.method == zip::methodDeflated;
    part.checksum = entry.checksum;
    part.sizeBytes = entry.sizeBytes;
    part.stored = entry.stored;
    return part;
}

// Unpackers overwrite, so the last one is what a program that opens the document gets.
void dropReplacedParts(std::vector<PackagePart>& parts)
{
    std::unordered_set<std::string_view> names;
    std::vector<bool> isReplaced(parts.size());
    for (std::size_t index = parts.size(); index-- > 0;)
        isReplaced[index] = !names.insert(parts[index].name).second;
    std::vector<PackagePart> kept;
    for (std::size_t index = 0; index < parts.size(); ++index) {
        if (!isReplaced[index])
            kept.push_back(std::move(parts[index]));
    }
    parts = std::move(kept);
}

// What is in a folder comes right behind a file that has the folder's name.
bool comesBefore(std::string_view left, std::string_view right)
{
    const auto rank = [](char letter) { return letter == '/' ? 0 : static_cast<Byte>(letter); };
    return std::ranges::lexicographical_compare(left, right, {}, rank, rank);
}

// No unpacker can make a file and a folder of one name.
void refuseFilesThatAreFolders(std::vector<PackagePart>& parts)
{
    const auto isIn = [](const PackagePart* part, const PackagePart* folder) {
        return part->name.starts_with(folder->name) && part->name[folder->name.size()] == '/';
    };
    std::vector<PackagePart*> sorted;
    sorted.reserve(parts.size());
    for (PackagePart& part : parts)
        sorted.push_back(&part);
    std::ranges::sort(sorted, comesBefore, &PackagePart::name);
    for (std::size_t index = 1; index < sorted.size(); ++index) {
        if (isIn(sorted[index], sorted[index - 1]))
            sorted[index]->problem = unsafeName;
    }
}

} // namespace

std::string extensionOf(const PackagePart& part)
{
    const std::string_view name = part.name;
    const std::string_view component = name.substr(name.rfind('/') + 1); // npos + 1 is 0.
    const std::size_t dot = component.rfind('.');
    return dot == std::string_view::npos ? std::string() : lowerCased(component.substr(dot + 1));
}

Result<PackageReader> PackageReader::open(ByteSource& archive)
{
    const auto entries = NP_TRY(zip::readDirectory(archive));
    PackageReader reader(archive);
    for (const zip::Entry& entry : entries) {
        if (!isFolder(entry))
            reader.contents.push_back(partOf(entry));
    }
    dropReplacedParts(reader.contents);
    refuseFilesThatAreFolders(reader.contents);
    return reader;
}

const PackagePart* PackageReader::find(std::string_view name) const
{
    auto found = std::ranges::find(contents, name, &PackagePart::name);
    if (found == contents.end())
        found = std::ranges::find(contents, lowerCased(name), [](const PackagePart& part) {
            return lowerCased(part.name);
        });
    return found == contents.end() ? nullptr : &*found;
}

bool PackageReader::isTooLarge() const
{
    std::uint64_t room = limits::unpackedBytes;
    for (const PackagePart& part : contents) {
        if (!part.isDeflated)
            continue;
        if (part.sizeBytes > room)
            return true;
        room -= part.sizeBytes;
    }
    return false;
}

Result<Done> PackageReader::check() const
{
    for (const PackagePart& part : contents) {
        if (part.problem != nullptr)
            return Error{part.problem, part.stored.offset};
    }
    return isTooLarge() ? Result<Done>(Error{"it is larger than it may be"}) : Done{};
}

Result<Bytes> PackageReader::read(const PackagePart& part, std::uint64_t most) const
{
    if (part.problem != nullptr)
        return Error{part.problem, part.stored.offset};
    if (part.sizeBytes > most)
        return Error{"a part of it is larger than it may be", part.stored.offset};
    PartStream stream(*archive, part);
    Bytes content(static_cast<std::size_t>(part.sizeBytes));
    NP_TRY(stream.read(content));
    NP_TRY(stream.checkEnd());
    return content;
}

Result<Bytes> PackageReader::readHead(const PackagePart& part, std::uint64_t most) const
{
    if (part.problem != nullptr)
        return Error{part.problem, part.stored.offset};
    PartStream stream(*archive, part);
    Bytes head(static_cast<std::size_t>(std::min(part.sizeBytes, most)));
    head.resize(NP_TRY(stream.read(head)));
    return head;
}

Result<std::unique_ptr<ByteSource>> PackageReader::openPart(const PackagePart& part,
                                                            std::uint64_t most) const
{
    if (part.problem != nullptr)
        return Error{part.problem, part.stored.offset};
    std::unique_ptr<ByteSource> source;
    if (part.isDeflated) {
        source = std::make_unique<UnpackedSource>(*archive, part, most);
    } else {
        source = std::make_unique<PartSource>(*archive, part.stored);
    }
    return source;
}

Result<Done> PackageReader::verify(const PackagePart& part) const
{
    if (part.problem != nullptr)
        return Error{part.problem, part.stored.offset};
    PartStream stream(*archive, part);
    // Most parts are small, and there may be very many.
    Bytes window(std::min<std::uint64_t>(part.sizeBytes, limits::windowBytes));
    while (NP_TRY(stream.read(window)) > 0)
        continue;
    return stream.checkEnd();
}

} // namespace nullprint
