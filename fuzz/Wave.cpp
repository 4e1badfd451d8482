// A recording of unknown origin: recognised by the library before it is saved, and by the tool that delivers it.
#include "Fuzz.h"
#include "MemoryStream.h"
#include "localmapi/delivery/Recording.h"
#include "messages/reading/VoiceStream.h"
#include <sstream>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    MemoryStream stream({data, size});
    const WORD tag = ReadFormatTag(&stream);
    Confirm(tag == 0 || size >= 22, "a format tag was read from bytes that are there");
    Confirm(stream.Seek({}, STREAM_SEEK_SET, nullptr) == S_OK, "the stream can be read again");
    if (FindChunk(&stream, "data") != 0)
        Confirm(stream.Position() <= size, "a chunk's data begin within the stream");

    std::istringstream file(std::string(reinterpret_cast<const char *>(data), size));
    const auto recording = localmapi::delivery::ExamineRecording(file, size);
    if (recording && recording->seconds)
        Confirm(*recording->seconds >= 0, "a recording's length is no negative number");
    return 0;
}
