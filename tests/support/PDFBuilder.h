// Puts PDFs together object by object, well-formed or not.
#pragma once

#include "engine/support/Bytes.h"
#include "tests/support/PNGBuilder.h"

#include <map>
#include <string>

namespace nullprint::tests {

// Objects 1 to 3 are the catalogue, the tree of pages and its one page, until they are replaced.
class PDFBuilder {
public:
    PDFBuilder() { catalogue("").pages("[3 0 R]").page(3, ""); }

    PDFBuilder& object(int number, const std::string& body)
    {
        objects[number] = body;
        return *this;
    }
    PDFBuilder& catalogue(const std::string& entries)
    {
        return object(1, "<</Type/Catalog/Pages 2 0 R" + entries + ">>");
    }
    PDFBuilder& pages(const std::string& kids)
    {
        return object(2, "<</Type/Pages/Count 1/Kids " + kids + ">>");
    }
    PDFBuilder& page(int number, const std::string& entries)
    {
        return object(number, "<</Type/Page/Parent 2 0 R/MediaBox[0 0 90 90]" + entries + ">>");
    }
    PDFBuilder& stream(int number, const std::string& entries, const std::string& data)
    {
        return object(number, streamBody(entries, data));
    }
    PDFBuilder& trailer(const std::string& entries)
    {
        trailerEntries = entries;
        return *this;
    }
    PDFBuilder& information(int number, const std::string& entries)
    {
        object(number, "<<" + entries + ">>");
        return trailer("/Info " + std::to_string(number) + " 0 R");
    }

    // With a table of its objects, as PDF 1.4 has it.
    std::string plain() const
    {
        std::string file = "%PDF-1.4\n%\xE2\xE3\xCF\xD3\n";
        appendRevision(file, 0);
        return file;
    }

    // What is in this builder as a later revision of an earlier file.
    std::string update(const std::string& earlier) const
    {
        std::string file = earlier;
        appendRevision(file, earlier.rfind("\nxref") + 1);
        return file;
    }

    // With everything that is no stream packed into one, and a packed table, as in PDF 1.5.
    std::string packed() const
    {
        std::string file = "%PDF-1.5\n%\xE2\xE3\xCF\xD3\n";
        const int container = objects.rbegin()->first + 1;
        std::map<int, std::string> rows{{0, row(0, 0, 65535)}};
        std::string heads;
        std::string bodies;
        std::size_t count = 0;
        for (const auto& [number, body] : objects) {
            if (body.ends_with("endstream")) {
                rows[number] = row(1, file.size(), 0);
                file += numbered(number, body);
                continue;
            }
            rows[number] = row(2, static_cast<std::size_t>(container), count++);
            heads += std::to_string(number) + " " + std::to_string(bodies.size()) + " ";
            bodies += body + " ";
        }
        rows[container] = row(1, file.size(), 0);
        file += numbered(container,
                         streamBody("/Type/ObjStm/Filter/FlateDecode/N " + std::to_string(count) +
                                        "/First " + std::to_string(heads.size()),
                                    deflated(heads + bodies)));
        return file + packedTable(file.size(), container + 1, rows);
    }

private:
    static std::string streamBody(const std::string& entries, const std::string& data)
    {
        return "<<" + entries + "/Length " + std::to_string(data.size()) + ">>\nstream\n" + data +
               "\nendstream";
    }
    static std::string numbered(int number, const std::string& body)
    {
        return std::to_string(number) + " 0 obj\n" + body + "\nendobj\n";
    }
    static std::string end(std::size_t table)
    {
        return "startxref\n" + std::to_string(table) + "\n%%EOF\n";
    }
    // Type, four bytes and two bytes.
    static std::string row(char type, std::size_t second, std::size_t third)
    {
        Bytes bytes{static_cast<Byte>(type)};
        append32(bytes, static_cast<std::uint32_t>(second), ByteOrder::big);
        append16(bytes, static_cast<std::uint16_t>(third), ByteOrder::big);
        return std::string(asText(bytes));
    }

    void appendRevision(std::string& file, std::size_t previous) const
    {
        std::string table = "xref\n0 1\n0000000000 65535 f \n";
        for (const auto& [number, body] : objects) {
            const std::string offset = std::to_string(file.size());
            table += std::to_string(number) + " 1\n" + std::string(10 - offset.size(), '0') +
                     offset + " 00000 n \n";
            file += numbered(number, body);
        }
        const std::size_t place = file.size();
        file += table + "trailer\n<</Root 1 0 R/Size " +
                std::to_string(objects.rbegin()->first + 1) + trailerEntries +
                (previous > 0 ? "/Prev " + std::to_string(previous) : "") + ">>\n" + end(place);
    }

    std::string packedTable(std::size_t place, int number, std::map<int, std::string> rows) const
    {
        rows[number] = row(1, place, 0);
        std::string index;
        std::string all;
        for (const auto& [each, content] : rows) {
            index += std::to_string(each) + " 1 ";
            all += content;
        }
        const std::string entries = "/Type/XRef/W[1 4 2]/Root 1 0 R/Filter/FlateDecode/Size " +
                                    std::to_string(number + 1) + "/Index[" + index + "]" +
                                    trailerEntries;
        return numbered(number, streamBody(entries, deflated(all))) + end(place);
    }

    std::map<int, std::string> objects;
    std::string trailerEntries;
};

} // namespace nullprint::tests
