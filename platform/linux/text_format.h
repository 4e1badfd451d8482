// The parts of a formatting function of the Windows C runtime: where its text goes, what a conversion asks for, and
// how a number is put together. Nothing here owns memory: a handler of structured exceptions may leave by longjmp.
#pragma once
#include <cstddef>
#include <cstdint>

namespace platform
{
// A buffer that takes what fits and tells whether more came.
template <class Char> struct FormatSink {
    Char *buffer;
    std::size_t limit; // characters without the terminator
    std::size_t length = 0;
    bool truncated = false;

    template <class Source> void Put(const Source *text, std::size_t count)
    {
        const std::size_t room = limit - length;
        truncated = truncated || count > room;
        for (std::size_t i = 0, end = count < room ? count : room; i < end; ++i)
            buffer[length++] = static_cast<Char>(text[i]);
    }
    // Costs no more than the room that is left, however large the count.
    void Fill(char character, std::size_t count)
    {
        const std::size_t room = limit - length;
        truncated = truncated || count > room;
        for (std::size_t i = 0, end = count < room ? count : room; i < end; ++i)
            buffer[length++] = static_cast<Char>(character);
    }
    void Terminate() { buffer[length] = 0; }
};

enum class ArgumentSize { Int, Short, Long, Int64, Pointer };

struct Conversion {
    bool leftAlign = false;
    bool zeroPad = false;
    bool alternate = false;
    char sign = 0; // '+' or ' ': what a number that is not negative begins with
    int width = 0;
    int precision = -1;
    ArgumentSize size = ArgumentSize::Int;
    bool narrow = false; // h: the text is char
    bool wide = false;   // l, w: the text is WCHAR
    char type = 0;
};

// A number's text as pieces, so that no precision needs memory.
struct NumberText {
    static constexpr int kMaxPieces = 8;
    struct Piece {
        const char *text; // null: zeros
        std::size_t count;
    };
    char prefix[4] = {}; // sign, 0x
    std::size_t prefixLength = 0;
    Piece pieces[kMaxPieces];
    int pieceCount = 0;

    void AddPrefix(char character) { prefix[prefixLength++] = character; }
    void Add(const char *text, std::size_t count)
    {
        if (count > 0)
            pieces[pieceCount++] = {text, count};
    }
    void AddZeros(std::size_t count) { Add(nullptr, count); }
    std::size_t Length() const
    {
        std::size_t length = prefixLength;
        for (int i = 0; i < pieceCount; ++i)
            length += pieces[i].count;
        return length;
    }
};

// The decimal digits of a double, all of them: 1 before the point, 766 behind it, exponent.
struct FloatDigits {
    char digits[780];
    int count;
    int exponent; // of the first digit
    bool negative;
    bool special; // infinite or not a number
    char exponentText[8];
};

// e, E, f, g, G, a, A. The number's pieces lie in `digits`.
void FormatFloat(const Conversion &conversion, double value, FloatDigits &digits, NumberText &number);
} // namespace platform
