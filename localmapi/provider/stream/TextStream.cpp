// Text is converted in pieces that end between two characters, so that neither form is ever in memory whole.
#include "localmapi/provider/stream/TextStream.h"
#include "localmapi/provider/base/Text.h"
#include "localmapi/storage/Objects.h"
#include "localmapi/storage/Spool.h"

#include <string>
#include <string_view>

namespace localmapi
{

namespace
{

constexpr std::size_t kReadAtOnce = 64 * 1024;
constexpr std::size_t kLongestRun = 4 * 1024 * 1024;

// How much of a piece can be converted without the rest: it ends between two characters.
std::size_t WholeUtf8(std::string_view text)
{
    std::size_t end = text.size();
    for (int back = 0; back < 4 && end > 0; ++back) {
        const auto byte = static_cast<unsigned char>(text[end - 1]);
        if (byte < 0x80)
            return text.size();
        --end;
        if (byte >= 0xC0) {
            const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : 2;
            return text.size() - end >= length ? text.size() : end;
        }
    }
    return text.size();
}

// In no ANSI code page is a byte below 0x30 the second one of a character; where the code page is UTF-8, characters can
// be told apart by themselves. Nothing (yet) for a run of a multi-byte code page that gives no place to cut at.
std::size_t WholeAnsi(std::string_view text)
{
    static const bool isUtf8 = AnsiFromUtf8("\xC3\xBC") == "\xC3\xBC";
    if (isUtf8)
        return WholeUtf8(text);
    std::size_t end = text.size();
    while (end > 0 && static_cast<unsigned char>(text[end - 1]) >= 0x30)
        --end;
    return end > 0 || text.size() < kLongestRun ? end : text.size();
}

// Not between the two halves of a surrogate pair, nor within a unit.
std::size_t WholeWide(std::string_view text)
{
    const std::size_t end = text.size() / 2 * 2;
    if (end >= 2 && (static_cast<unsigned char>(text[end - 1]) & 0xFC) == 0xD8)
        return end - 2;
    return end;
}

// Gives a stream's text to `take` piece by piece.
template <class Whole, class Take> void EachPiece(const storage::Stream &from, Whole whole, Take take)
{
    std::string piece;
    std::uint64_t offset = 0;
    for (;;) {
        const std::size_t kept = piece.size();
        piece.resize(kept + kReadAtOnce);
        const std::size_t read = from.Read(offset, piece.data() + kept, kReadAtOnce);
        piece.resize(kept + read);
        offset += read;
        const bool last = read == 0;
        const std::size_t usable = last ? piece.size() : whole(std::string_view(piece));
        take(std::string_view(piece).substr(0, usable));
        piece.erase(0, usable);
        if (last)
            return;
    }
}

std::basic_string<WCHAR> UnitsOf(std::string_view bytes)
{
    std::basic_string<WCHAR> units;
    units.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        units +=
            static_cast<WCHAR>(static_cast<unsigned char>(bytes[i]) | static_cast<unsigned char>(bytes[i + 1]) << 8);
    return units;
}

void Append(storage::Spool &to, const void *bytes, std::size_t size)
{
    if (size)
        to.Write(to.size(), bytes, size);
}

} // namespace

std::shared_ptr<const storage::Stream> TextForClient(const storage::Stream &stored, bool wide, bool terminated)
{
    auto client = std::make_shared<storage::Spool>();
    EachPiece(stored, WholeUtf8, [&](std::string_view piece) {
        if (wide) {
            const WideText text = WideFromUtf8(piece);
            Append(*client, text.data(), text.size() * sizeof(WCHAR));
        } else {
            const std::string text = AnsiFromUtf8(piece);
            Append(*client, text.data(), text.size());
        }
    });
    const WCHAR terminator = 0;
    if (terminated)
        Append(*client, &terminator, wide ? sizeof(WCHAR) : 1);
    return client;
}

storage::Value TextFromClient(const storage::Stream &content, bool wide)
{
    auto stored = std::make_shared<storage::Spool>();
    const auto take = [&](std::string_view piece) {
        const std::string text = wide ? Utf8FromWide(UnitsOf(piece)) : Utf8FromAnsi(piece);
        Append(*stored, text.data(), text.size());
    };
    if (wide)
        EachPiece(content, WholeWide, take);
    else
        EachPiece(content, WholeAnsi, take);
    // A terminator, and what a client left behind it, is no part of the text.
    std::uint64_t size = stored->size();
    char last = 0;
    while (size > 0 && stored->Read(size - 1, &last, 1) == 1 && last == 0)
        --size;
    stored->resize(size);
    if (size > storage::Objects::kLongest)
        return storage::SpoolPtr(std::move(stored));
    std::string text(static_cast<std::size_t>(size), '\0');
    stored->Read(0, text.data(), text.size());
    return text;
}

} // namespace localmapi
