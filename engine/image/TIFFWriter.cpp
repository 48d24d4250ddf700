// TIFF 6.0, section 2, and the BigTIFF design: how header, directories and values are laid out.
#include "engine/image/TIFFWriter.h"

#include "engine/image/CleaningPolicy.h"
#include "engine/image/JPEG.h"
#include "engine/image/TIFFTags.h"

#include <algorithm>
#include <map>

namespace nullprint::image {
namespace {

// Words are where directories and values begin.
std::uint64_t aligned(std::uint64_t position)
{
    return position + position % 2;
}

// A field of the copy. Its bytes are a range of the original, or fresh ones, or, where there is
// neither, the places of data, which are known only after everything has been laid out.
struct Entry {
    std::uint16_t tag = 0;
    FieldType type = FieldType::unsigned32;
    std::uint64_t count = 0;
    ByteRange original;
    Bytes fresh;
    std::uint64_t place = 0; // Where in the copy the value is, when it is not in the field itself.
    bool isShared = false;   // An earlier field has the same value at the same place.

    std::uint64_t length() const { return count * sizeOfType(type); }
};

class Writer {
public:
    Writer(const IFDReader& reader,
           ByteSource& source,
           std::span<const TIFFPage> pages,
           TIFFData data)
        : reader(reader)
        , source(source)
        , pages(pages)
        , data(std::move(data))
    {
    }

    Result<OutputPlan> plan()
    {
        std::uint64_t position = reader.isBig() ? 16 : 8;
        for (const TIFFPage& page : pages)
            directories.push_back(NP_TRY(layOut(page, position)));
        data.placeAt(aligned(position));
        writeHeader();
        for (std::size_t index = 0; index < pages.size(); ++index)
            NP_TRY(writeDirectory(index));
        padTo(aligned(out.size()));
        data.appendTo(out);
        if (!reader.isBig() && out.size() > 0xFFFFFFFF)
            return Error{"copy too large for its kind of TIFF"};
        return std::move(out);
    }

private:
    struct Directory {
        std::uint64_t place = 0;
        std::vector<Entry> entries;
    };

    std::uint64_t offsetBytes() const { return reader.isBig() ? 8 : 4; }
    FieldType offsetType() const
    {
        return reader.isBig() ? FieldType::unsigned64 : FieldType::unsigned32;
    }

    std::uint64_t directoryBytes(std::size_t entries) const
    {
        return reader.isBig() ? 16 + 20 * entries : 6 + 12 * entries;
    }

    Result<Directory> layOut(const TIFFPage& page, std::uint64_t& position)
    {
        Directory directory;
        for (const Field& field : page.fields)
            directory.entries.push_back(NP_TRY(entryOf(field)));
        addPlaces(page, directory.entries);
        std::ranges::sort(directory.entries, {}, &Entry::tag);
        directory.place = aligned(position);
        position = directory.place + directoryBytes(directory.entries.size());
        for (Entry& entry : directory.entries) {
            if (entry.length() > offsetBytes())
                NP_TRY(layOut(entry, position));
        }
        return directory;
    }

    // Values that fields share, a profile for instance, stay shared. Others cannot overlap, or
    // there would be more of them than the file has bytes.
    Result<Done> layOut(Entry& entry, std::uint64_t& position)
    {
        const bool isCopied = entry.original.length != 0 && entry.fresh.empty();
        const auto known = places.find({entry.original.offset, entry.original.length});
        if (isCopied && known != places.end()) {
            entry.place = known->second;
            entry.isShared = true;
            return Done{};
        }
        entry.place = aligned(position);
        position = entry.place + entry.length();
        if (!isCopied)
            return Done{};
        places[{entry.original.offset, entry.original.length}] = entry.place;
        return spend(entry.original);
    }

    Result<Done> spend(ByteRange original)
    {
        valueBytes += original.length;
        if (valueBytes > source.size())
            return Error{"values that overlap", original.offset};
        return Done{};
    }

    Result<Entry> entryOf(const Field& field)
    {
        Entry entry{field.tag, field.type, field.count, field.value, {}};
        if (field.tag == tag::jpegTables)
            NP_TRY(cleanTables(entry));
        return entry;
    }

    // Tables alone are a JPEG stream too, with room for comments.
    Result<Done> cleanTables(Entry& entry)
    {
        const bool isKnown = places.contains({entry.original.offset, entry.original.length});
        if (isKnown)
            return Done{};
        NP_TRY(spend(entry.original));
        PartSource part(source, entry.original);
        if (!ByteCursor(part).startsWith(jpegStart))
            return Error{"JPEG tables that are not JPEG", entry.original.offset};
        const Blocks blocks = NP_TRY(splitJPEGStream(part));
        Bytes kept;
        for (const Block& block : blocks) {
            if (block.kind == BlockKind::pixels)
                return Error{"JPEG tables with a scan", entry.original.offset};
            if (isKept(block.kind))
                append(kept, NP_TRY(part.copyOf(block.range)));
        }
        valueBytes -= entry.original.length;
        if (kept.size() == entry.original.length)
            return Done{};
        entry.count = kept.size();
        entry.fresh = std::move(kept);
        return spend(entry.original);
    }

    void addPlaces(const TIFFPage& page, std::vector<Entry>& entries) const
    {
        const auto add = [&](std::uint16_t tag, std::uint64_t count) {
            entries.push_back({tag, offsetType(), count, {}, {}});
        };
        if (!page.data.empty()) {
            add(page.isTiled ? tag::tileOffsets : tag::stripOffsets, page.data.size());
            add(page.isTiled ? tag::tileByteCounts : tag::stripByteCounts, page.data.size());
        }
        if (page.jpegStream) {
            add(tag::jpegStream, 1);
            add(tag::jpegStreamLength, 1);
        }
        for (const TIFFTables& tables : page.tables)
            add(tables.tag, tables.tables.size());
    }

    static std::span<const ByteRange> originalsOf(const TIFFPage& page, std::uint16_t tag)
    {
        if (tag == tag::jpegStream || tag == tag::jpegStreamLength)
            return {&*page.jpegStream, 1};
        for (const TIFFTables& tables : page.tables) {
            if (tables.tag == tag)
                return tables.tables;
        }
        return page.data;
    }

    static bool isTable(std::uint16_t tag)
    {
        return tag == tag::jpegQTables || tag == tag::jpegDCTables || tag == tag::jpegACTables;
    }

    // Offsets or lengths of data: written fresh, since all of it has moved. Of strips metadata may
    // be missing; tables have a length that nobody tells.
    Result<Bytes> placesOf(const TIFFPage& page, const Entry& entry) const
    {
        const bool isLength = entry.tag == tag::stripByteCounts ||
                              entry.tag == tag::tileByteCounts ||
                              entry.tag == tag::jpegStreamLength;
        Bytes bytes;
        for (const ByteRange& original : originalsOf(page, entry.tag)) {
            ByteRange copy;
            if (original.length != 0)
                copy = NP_TRY(data.placeOf(original));
            if (isTable(entry.tag) && copy.length != original.length)
                return Error{"JPEG table that lies across what is dropped", original.offset};
            appendOffset(bytes, isLength ? copy.length : copy.offset);
        }
        return bytes;
    }

    void appendOffset(Bytes& bytes, std::uint64_t value) const
    {
        if (reader.isBig()) {
            append64(bytes, value, reader.order());
        } else {
            append32(bytes, static_cast<std::uint32_t>(value), reader.order());
        }
    }

    void writeHeader()
    {
        const bool isLittle = reader.order() == ByteOrder::little;
        Bytes header;
        append(header, isLittle ? std::string_view("II") : std::string_view("MM"));
        append16(header, reader.isBig() ? 43 : 42, reader.order());
        if (reader.isBig()) {
            append16(header, 8, reader.order()); // Bytes in an offset.
            append16(header, 0, reader.order());
        }
        appendOffset(header, directories[0].place);
        out.write(header);
    }

    void padTo(std::uint64_t position)
    {
        if (out.size() < position)
            out.write(Bytes(static_cast<std::size_t>(position - out.size())));
    }

    Result<Done> writeDirectory(std::size_t index)
    {
        Directory& directory = directories[index];
        padTo(directory.place);
        Bytes head;
        if (reader.isBig()) {
            append64(head, directory.entries.size(), reader.order());
        } else {
            append16(head, static_cast<std::uint16_t>(directory.entries.size()), reader.order());
        }
        for (Entry& entry : directory.entries) {
            if (entry.original.length == 0)
                entry.fresh = NP_TRY(placesOf(pages[index], entry));
            NP_TRY(appendEntry(head, entry));
        }
        const bool isLast = index + 1 == directories.size();
        appendOffset(head, isLast ? 0 : directories[index + 1].place);
        out.write(head);
        for (Entry& entry : directory.entries) {
            writeValue(entry);
            entry.fresh = {};
        }
        return Done{};
    }

    Result<Done> appendEntry(Bytes& head, const Entry& entry) const
    {
        append16(head, entry.tag, reader.order());
        append16(head, static_cast<std::uint16_t>(entry.type), reader.order());
        appendOffset(head, entry.count);
        if (entry.length() > offsetBytes()) {
            appendOffset(head, entry.place);
            return Done{};
        }
        const Bytes value =
            entry.fresh.empty() ? NP_TRY(source.copyOf(entry.original)) : entry.fresh;
        append(head, value);
        head.resize(head.size() + static_cast<std::size_t>(offsetBytes() - value.size()));
        return Done{};
    }

    void writeValue(const Entry& entry)
    {
        if (entry.length() <= offsetBytes() || entry.isShared)
            return;
        padTo(entry.place);
        if (entry.fresh.empty()) {
            out.copy(entry.original);
        } else {
            out.write(entry.fresh);
        }
    }

    const IFDReader& reader;
    ByteSource& source;
    std::span<const TIFFPage> pages;
    TIFFData data;
    std::vector<Directory> directories;
    std::map<std::pair<std::uint64_t, std::uint64_t>, std::uint64_t> places;
    std::uint64_t valueBytes = 0; // How much of the original its values are, counted once each.
    OutputPlan out;
};

} // namespace

Result<OutputPlan> planTIFF(const IFDReader& reader,
                            ByteSource& source,
                            std::span<const TIFFPage> pages,
                            TIFFData data)
{
    return Writer(reader, source, pages, std::move(data)).plan();
}

} // namespace nullprint::image
