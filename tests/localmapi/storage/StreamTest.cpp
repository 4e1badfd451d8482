// Proves that long data is written and read in pieces at any offset, byte for byte, and never lies in memory whole.
#include "Fixture.h"
#include "MemoryGauge.h"
#include "localmapi/storage/Spool.h"
#include <cstring>
#include <random>
#include <thread>

namespace localmapi::storage
{

namespace
{

constexpr std::uint64_t kPiece = 256 * 1024;

// The byte at an offset of a recording that is never held whole.
std::uint8_t ByteAt(std::uint64_t offset)
{
    return static_cast<std::uint8_t>(offset * 2654435761u >> 13);
}

void Fill(std::vector<std::uint8_t> &buffer, std::uint64_t offset)
{
    for (std::size_t i = 0; i < buffer.size(); ++i)
        buffer[i] = ByteAt(offset + i);
}

class Streams : public SiteTest
{
};

TEST(Spools, HoldWhatWasWrittenAtAnyOffset)
{
    // Against a plain block of memory, with offsets and lengths around the pieces.
    std::mt19937 random{11};
    Spool spool;
    std::vector<std::uint8_t> expected;
    auto around = [&] {
        std::int64_t at =
            static_cast<std::int64_t>(random() % 4 * kPiece) + static_cast<std::int64_t>(random() % 7) - 3;
        return static_cast<std::size_t>(std::max<std::int64_t>(at, 0));
    };
    for (int round = 0; round < 400; ++round) {
        std::size_t offset = around();
        switch (random() % 4) {
        case 0: {
            spool.resize(offset);
            expected.resize(offset);
            break;
        }
        case 1: {
            std::vector<std::uint8_t> read(random() % 3 ? 10 : kPiece + 5, 0xEE);
            std::size_t n = spool.Read(offset, read.data(), read.size());
            ASSERT_EQ(n, offset < expected.size() ? std::min(read.size(), expected.size() - offset) : 0);
            ASSERT_EQ(std::memcmp(read.data(), expected.data() + (n ? offset : 0), n), 0) << round;
            break;
        }
        default: {
            std::vector<std::uint8_t> bytes(random() % 3 ? 10 : kPiece + 5, static_cast<std::uint8_t>(round));
            spool.Write(offset, bytes.data(), bytes.size());
            expected.resize(std::max(expected.size(), offset + bytes.size()));
            std::memcpy(expected.data() + offset, bytes.data(), bytes.size());
        }
        }
        ASSERT_EQ(spool.size(), expected.size());
    }
    std::vector<std::uint8_t> whole(expected.size());
    EXPECT_EQ(spool.Read(0, whole.data(), whole.size()), whole.size());
    EXPECT_EQ(whole, expected);
}

TEST(Spools, WriteNothingWhenThereIsNothingToWrite)
{
    Spool spool;
    spool.Write(100, "", 0);
    EXPECT_EQ(spool.size(), 0u);
    char byte = 7;
    EXPECT_EQ(spool.Read(0, &byte, 1), 0u);
    spool.resize(3);
    EXPECT_EQ(spool.Read(2, &byte, 5), 1u);
    EXPECT_EQ(byte, 0);
}

TEST_F(Streams, OfEveryLengthAroundThePiecesComeBack)
{
    for (std::uint64_t length : {std::uint64_t{0}, std::uint64_t{1}, std::uint64_t{8192}, std::uint64_t{8193},
                                 kPiece - 1, kPiece, kPiece + 1, 2 * kPiece, 2 * kPiece + 1}) {
        auto spool = std::make_shared<Spool>();
        std::vector<std::uint8_t> bytes(static_cast<std::size_t>(length));
        Fill(bytes, 0);
        spool->Write(0, bytes.data(), bytes.size());
        ObjectId id = Add("m", {{kAttachData, SpoolPtr(spool)}});
        std::unique_ptr<Stream> stream = m_objects.OpenProperty(id, kAttachData);
        ASSERT_TRUE(stream);
        EXPECT_EQ(stream->size(), length);
        std::vector<std::uint8_t> read(bytes.size() + 1);
        EXPECT_EQ(stream->Read(0, read.data(), read.size()), length);
        read.resize(bytes.size());
        EXPECT_EQ(read, bytes);
        EXPECT_EQ(stream->Read(length, read.data(), 1), 0u);
        // Across the border of two pieces, and short of the end.
        if (length > kPiece + 1) {
            std::uint8_t border[4];
            EXPECT_EQ(stream->Read(kPiece - 2, border, 4), 4u);
            EXPECT_EQ(border[1], ByteAt(kPiece - 1));
            EXPECT_EQ(border[2], ByteAt(kPiece));
        }
    }
    ExpectSound();
}

TEST_F(Streams, OfTextAreItsBytes)
{
    ObjectId id = Add("m", {{kBody, std::string("caf\xc3\xa9")}});
    std::unique_ptr<Stream> stream = m_objects.OpenProperty(id, kBody);
    char text[10] = {};
    EXPECT_EQ(stream->Read(3, text, 10), 2u);
    EXPECT_STREQ(text, "\xc3\xa9");
    EXPECT_EQ(m_objects.OpenProperty(id, kSenderName), nullptr);
    EXPECT_EQ(FaultOf([&] { m_objects.OpenProperty(id, kMessageFlags); }), Fault::Invalid);
    EXPECT_EQ(m_objects.OpenProperty(id, kMessageClass)->size(), 8u);
}

TEST_F(Streams, ThatWereReplacedAreNotFoundByThoseWhoStillReadThem)
{
    ObjectId id = Add("m", {{kAttachData, Bytes(3 * kPiece, 1)}});
    std::unique_ptr<Stream> reader = m_objects.OpenProperty(id, kAttachData);
    std::uint8_t byte = 0;
    reader->Read(0, &byte, 1);
    MessageChanges changes;
    changes.properties.set.Set(kAttachData, Bytes(3 * kPiece, 2));
    m_objects.ChangeMessage(id, changes);
    EXPECT_EQ(FaultOf([&] { reader->Read(2 * kPiece, &byte, 1); }), Fault::NotFound);
    m_objects.OpenProperty(id, kAttachData)->Read(2 * kPiece, &byte, 1);
    EXPECT_EQ(byte, 2);
}

TEST_F(Streams, AreCopiedIntoSpools)
{
    ObjectId id = Add("m", {{kAttachData, Bytes(2 * kPiece + 9, 4)}});
    std::shared_ptr<Spool> spool = SpoolOf(*m_objects.OpenProperty(id, kAttachData));
    EXPECT_EQ(spool->size(), 2 * kPiece + 9);
    spool->Write(5, "x", 1);
    MessageChanges changes;
    changes.properties.set.Set(kAttachData, SpoolPtr(spool));
    m_objects.ChangeMessage(id, changes);
    std::uint8_t bytes[2];
    m_objects.OpenProperty(id, kAttachData)->Read(4, bytes, 2);
    EXPECT_EQ(bytes[0], 4);
    EXPECT_EQ(bytes[1], 'x');
}

TEST_F(Streams, OfAHundredMegabytesAreWrittenAndReadInBoundedMemory)
{
    constexpr std::uint64_t kLength = 100u << 20;
    std::vector<std::uint8_t> buffer(4096);
    Add("small", {{kAttachData, Bytes(4 * kPiece)}}); // so that what is allocated once is there
    std::uint64_t before = MemoryInUse();
    auto spool = std::make_shared<Spool>();
    for (std::uint64_t offset = 0; offset < kLength; offset += buffer.size()) {
        Fill(buffer, offset);
        spool->Write(offset, buffer.data(), buffer.size());
    }
    EXPECT_LT(MemoryInUse(), before + (20u << 20));
    MessageChanges content = MakeMessage("voice");
    content.attachments = {{0, false, {{{kAttachData, SpoolPtr(spool)}}, {}}, nullptr}};
    ObjectId id = m_objects.CreateMessage(m_box.inbox, content);
    spool.reset();
    content = {};
    EXPECT_LT(MemoryInUse(), before + (50u << 20));
    std::unique_ptr<Stream> stream = m_objects.OpenProperty(m_objects.Attachments(id)[0].id, kAttachData);
    ASSERT_EQ(stream->size(), kLength);
    std::uint64_t wrong = 0;
    for (std::uint64_t offset = 0; offset < kLength; offset += buffer.size()) {
        ASSERT_EQ(stream->Read(offset, buffer.data(), buffer.size()), buffer.size());
        for (std::size_t i = 0; i < buffer.size(); ++i)
            wrong += buffer[i] != ByteAt(offset + i);
    }
    EXPECT_EQ(wrong, 0u);
    EXPECT_LT(MemoryInUse(), before + (50u << 20));
    EXPECT_EQ(*m_objects.Read(id).get<std::int32_t>(kMessageSize), static_cast<std::int32_t>(kLength + 5));
}

TEST_F(Streams, AreReadByManyThreadsAtOnce)
{
    ObjectId id = Add("m", {{kAttachData, Bytes(4 * kPiece, 1)}});
    std::unique_ptr<Stream> shared = m_objects.OpenProperty(id, kAttachData);
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (unsigned t = 0; t < 4; ++t)
        threads.emplace_back([&, t] {
            std::unique_ptr<Stream> own = m_objects.OpenProperty(id, kAttachData);
            for (unsigned i = 0; i < 50; ++i) {
                std::uint8_t byte = 0;
                std::uint64_t offset = (i * 7 + t) % 4 * kPiece + i;
                wrong += (i % 2 ? *own : *shared).Read(offset, &byte, 1) != 1 || byte != 1;
            }
        });
    for (std::thread &thread : threads)
        thread.join();
    EXPECT_EQ(wrong, 0);
}

} // namespace

} // namespace localmapi::storage
