#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <string>

#include "models/model_id.h"
#include "platform_fake/fake_compression.h"

namespace kelvaris::testing {

/// One entry of a ustar archive, well-formed until a test says otherwise.
struct TarMember {
    std::string name;
    std::string data;
    char type = '0';
    std::string sizeField;  ///< in place of the data's size
    std::string prefix;
};

inline Bytes tarMember(const TarMember& entry) {
    Bytes bytes(512);
    const auto put = [&](std::size_t at, std::string_view text, std::size_t room) {
        std::copy_n(text.begin(), std::min(text.size(), room),
                    bytes.begin() + static_cast<std::ptrdiff_t>(at));
    };
    put(0, entry.name, 100);
    put(100, "0000644", 8);
    put(124, entry.sizeField.empty() ? fmt::format("{:011o}", entry.data.size()) : entry.sizeField, 12);
    bytes[156] = static_cast<std::uint8_t>(entry.type);
    put(257, std::string_view("ustar\00000", 8), 8);
    put(345, entry.prefix, 155);
    bytes.insert(bytes.end(), entry.data.begin(), entry.data.end());
    bytes.resize((bytes.size() + 511) / 512 * 512);
    return bytes;
}

inline Bytes tarOf(const std::vector<TarMember>& entries) {
    Bytes bytes;
    for (const TarMember& entry : entries) {
        const Bytes one = tarMember(entry);
        bytes.insert(bytes.end(), one.begin(), one.end());
    }
    bytes.resize(bytes.size() + 1024);
    return bytes;
}

/// A gzip member with every header part that the flags announce, its data stored without compression.
inline Bytes gzipOf(ByteView data, std::uint8_t flags = 0) {
    Bytes bytes{0x1F, 0x8B, 8, flags, 0, 0, 0, 0, 0, 3};
    const auto append = [&](std::string_view text) { bytes.insert(bytes.end(), text.begin(), text.end()); };
    if (flags & 4)
        append(
            std::string_view("\x05\x00"
                             "ab\0cd",
                             7));
    if (flags & 8) append(std::string_view("model.tar\0", 10));
    if (flags & 16) append(std::string_view("a comment\0", 10));
    if (flags & 2) append("\x12\x34");
    const Bytes stream = storedDeflate(data);
    bytes.insert(bytes.end(), stream.begin(), stream.end());
    append("sumsize!");
    return bytes;
}

/// The entries of a complete model whose files all hold the text.
inline std::vector<TarMember> modelEntries(ModelID id, const std::string& text) {
    const std::string folder(rawValue(id));
    std::vector<TarMember> entries{{.name = folder + "/", .type = '5'}};
    for (const std::string_view required : modelFacts(id).requiredFiles) {
        entries.push_back({.name = folder + "/" + std::string(required) + "/model.onnx", .data = text});
    }
    return entries;
}

/// A model's archive that is large enough to be taken for a download of it.
inline Bytes downloadableArchive(ModelID id, const std::string& text) {
    auto entries = modelEntries(id, text);
    const auto filling = static_cast<std::size_t>(modelFacts(id).downloadSize / 2);
    entries.push_back({.name = std::string(rawValue(id)) + "/filling", .data = std::string(filling, 'f')});
    return gzipOf(tarOf(entries));
}

}  // namespace kelvaris::testing
