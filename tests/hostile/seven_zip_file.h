#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

// An item of an archive that a test makes up. In its name "/" separates folders.
struct MadeItem {
    std::wstring name;
    std::string content;
    bool isFolder = false;
    std::uint32_t attributes = 0x20;
};

// Builds a well-formed 7z archive of exactly these items, not compressed. Their names may be ones
// that no packer would store.
class SevenZipFile {
public:
    explicit SevenZipFile(const std::vector<MadeItem>& items) : items_(items) {
        for (const MadeItem& item : items_) {
            if (!item.content.empty()) contents_.push_back(item.content);
        }
    }

    [[nodiscard]] std::string Bytes() {
        std::string packed;
        for (const std::string_view content : contents_) packed += content;
        Byte(1);
        if (!contents_.empty()) Streams(packed.size());
        Files();
        Byte(0);

        const std::string place =
            Little(packed.size(), 8) + Little(header_.size(), 8) + Little(Checksum(header_), 4);
        return std::string("7z\xBC\xAF\x27\x1C\0\4", 8) + Little(Checksum(place), 4) + place +
               packed + header_;
    }

private:
    static std::string Little(std::uint64_t value, std::size_t size) {
        std::string bytes;
        for (; size > 0; --size, value >>= 8) bytes += static_cast<char>(value & 0xFF);
        return bytes;
    }

    static std::uint32_t Checksum(std::string_view bytes) {
        std::uint32_t sum = 0xFFFFFFFF;
        for (const char byte : bytes) {
            sum ^= static_cast<std::uint8_t>(byte);
            for (int bit = 0; bit < 8; ++bit) sum = sum >> 1 ^ (sum % 2 != 0 ? 0xEDB88320 : 0);
        }
        return ~sum;
    }

    void Byte(int value) { header_ += static_cast<char>(value); }
    void Number(std::uint64_t value) { header_ += '\xFF' + Little(value, 8); }

    // All contents one after another in one block, not compressed.
    void Streams(std::size_t size) {
        Byte(4);
        Byte(6), Number(0), Number(1), Byte(9), Number(size), Byte(0);
        Byte(7), Byte(11), Number(1), Byte(0), Number(1), Byte(1), Byte(0);
        Byte(12), Number(size), Byte(0);
        Byte(8), Byte(13), Number(contents_.size()), Byte(9);
        for (std::size_t i = 0; i + 1 < contents_.size(); ++i) Number(contents_[i].size());
        Byte(10), Byte(1);
        for (const std::string_view content : contents_) header_ += Little(Checksum(content), 4);
        Byte(0);
        Byte(0);
    }

    void Files() {
        std::vector<bool> empty;
        std::vector<bool> emptyFile;
        std::string names(1, '\0');
        std::string attributes("\1\0", 2);
        for (const MadeItem& item : items_) {
            empty.push_back(item.content.empty());
            if (item.content.empty()) emptyFile.push_back(!item.isFolder);
            for (const wchar_t unit : item.name) names += Little(unit, 2);
            names += Little(0, 2);
            attributes += Little(item.attributes, 4);
        }
        Byte(5), Number(items_.size());
        Property(14, Bits(empty));
        Property(15, Bits(emptyFile));
        Property(17, names);
        Property(21, attributes);
        Byte(0);
    }

    void Property(int identifier, const std::string& value) {
        Byte(identifier), Number(value.size());
        header_ += value;
    }

    static std::string Bits(const std::vector<bool>& bits) {
        std::string bytes((bits.size() + 7) / 8, '\0');
        for (std::size_t i = 0; i < bits.size(); ++i) {
            if (bits[i]) bytes[i / 8] = static_cast<char>(bytes[i / 8] | 0x80 >> i % 8);
        }
        return bytes;
    }

    const std::vector<MadeItem>& items_;
    std::vector<std::string_view> contents_;
    std::string header_;
};
