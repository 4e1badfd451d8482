// Proves property streams: reading and writing in pieces, seeking, sizes, copies and clones, when what was written is
// seen, and that long data is never held whole.
#include "ExchangeMapi.h"
#include "StreamFixture.h"

#include <mapiguid.h>

#include <algorithm>
#include <limits>

namespace localmapi::test
{

namespace
{

TEST_F(StreamTest, WhatIsWrittenIsSeenInTheObjectAfterCommitAndInTheStoreAfterSaveChanges)
{
    auto stream = NewStream();
    ASSERT_CODE(WriteStream(stream.get(), "hello"), S_OK);
    EXPECT_TRUE(BytesOf(m_message.get(), kBytes).empty());
    ASSERT_CODE(stream->Commit(STGC_DEFAULT), S_OK);
    EXPECT_EQ(BytesOf(m_message.get(), kBytes).size(), 5u);
    const EntryIdBytes id = m_mailbox.Save(m_message);
    EXPECT_EQ(ReadProperty(m_mailbox.Open(id).get(), kBytes), "hello");
    ASSERT_CODE(WriteStream(stream.get(), " again"), S_OK);
    ASSERT_CODE(stream->Commit(STGC_DEFAULT), S_OK);
    EXPECT_EQ(ReadProperty(m_mailbox.Open(id).get(), kBytes), "hello");
    ASSERT_CODE(m_message->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_EQ(ReadProperty(m_mailbox.Open(id).get(), kBytes), "hello again");
}

TEST_F(StreamTest, SaveChangesTakesOverWhatIsInStreamsThatAreStillOpen)
{
    auto stream = NewStream();
    ComPtr<IStream> clone;
    ASSERT_CODE(stream->Clone(clone.put()), S_OK);
    auto other = NewStream(PROP_TAG(PT_BINARY, 0x6A23));
    ASSERT_CODE(WriteStream(stream.get(), "hello"), S_OK);
    ASSERT_CODE(WriteStream(other.get(), "other"), S_OK);
    const EntryIdBytes id = m_mailbox.Save(m_message);
    EXPECT_EQ(ReadProperty(m_mailbox.Open(id).get(), kBytes), "hello");
    EXPECT_EQ(ReadProperty(m_mailbox.Open(id).get(), PROP_TAG(PT_BINARY, 0x6A23)), "other");
    // What is written later is for the next time.
    ASSERT_CODE(WriteStream(stream.get(), " again"), S_OK);
    EXPECT_EQ(ReadProperty(m_mailbox.Open(id).get(), kBytes), "hello");
    ASSERT_CODE(m_message->SaveChanges(KEEP_OPEN_READWRITE), S_OK);
    EXPECT_EQ(ReadProperty(m_mailbox.Open(id).get(), kBytes), "hello again");
}

// As a client attaches a file: the attachment is saved while its stream is open.
TEST_F(StreamTest, AnAttachmentIsSavedWithItsOpenStream)
{
    ULONG number = 0;
    ComPtr<IAttach> attachment;
    ASSERT_CODE(m_message->CreateAttach(nullptr, 0, &number, attachment.put()), S_OK);
    ComPtr<IStream> stream;
    ASSERT_CODE(OpenStream(attachment.get(), PR_ATTACH_DATA_BIN, MAPI_CREATE | MAPI_MODIFY, stream), S_OK);
    ASSERT_CODE(WriteStream(stream.get(), "sound"), S_OK);
    ASSERT_CODE(attachment->SaveChanges(0), S_OK);
    const EntryIdBytes id = m_mailbox.Save(m_message);
    stream.reset();
    attachment.reset();
    auto message = m_mailbox.Open(id);
    ASSERT_CODE(message->OpenAttach(0, nullptr, 0, attachment.put()), S_OK);
    EXPECT_EQ(ReadProperty(attachment.get(), PR_ATTACH_DATA_BIN), "sound");
}

TEST_F(StreamTest, TheLastReleaseCommits)
{
    auto stream = NewStream();
    ASSERT_CODE(WriteStream(stream.get(), "hello"), S_OK);
    stream.reset();
    EXPECT_EQ(ReadProperty(m_message.get(), kBytes), "hello");
}

TEST_F(StreamTest, RevertForgetsWhatWasNotCommitted)
{
    auto stream = NewStream();
    ASSERT_CODE(WriteStream(stream.get(), "kept"), S_OK);
    ASSERT_CODE(stream->Commit(STGC_DEFAULT), S_OK);
    ASSERT_CODE(WriteStream(stream.get(), " lost"), S_OK);
    ASSERT_CODE(stream->Revert(), S_OK);
    EXPECT_EQ(SizeOfStream(stream.get()), 4u);
    stream.reset();
    EXPECT_EQ(ReadProperty(m_message.get(), kBytes), "kept");
}

TEST_F(StreamTest, APropertyIsCreatedEmptyAndReplacedWhenItWasThere)
{
    NewStream().reset();
    EXPECT_EQ(ReadProperty(m_message.get(), kBytes), "");
    ASSERT_CODE(SetProps(m_message.get(), {Binary(kBytes, "before", 6)}), S_OK);
    auto stream = NewStream();
    EXPECT_EQ(SizeOfStream(stream.get()), 0u);
    ASSERT_CODE(WriteStream(stream.get(), "now"), S_OK);
    stream.reset();
    EXPECT_EQ(ReadProperty(m_message.get(), kBytes), "now");
}

TEST_F(StreamTest, AnExistingPropertyIsChangedInPlaceOrAppendedTo)
{
    ASSERT_CODE(SetProps(m_message.get(), {Binary(kBytes, "before", 6)}), S_OK);
    ComPtr<IStream> stream;
    ASSERT_CODE(OpenStream(m_message.get(), kBytes, MAPI_MODIFY, stream), S_OK);
    ASSERT_CODE(WriteStream(stream.get(), "BE"), S_OK);
    stream.reset();
    EXPECT_EQ(ReadProperty(m_message.get(), kBytes), "BEfore");
    ASSERT_CODE(OpenStream(m_message.get(), kBytes, MAPI_MODIFY | STREAM_APPEND, stream), S_OK);
    ASSERT_CODE(WriteStream(stream.get(), " it"), S_OK);
    stream.reset();
    EXPECT_EQ(ReadProperty(m_message.get(), kBytes), "BEfore it");
}

TEST_F(StreamTest, SeekMovesWithinAndBeyondTheEndButNotBeforeTheBeginning)
{
    auto stream = NewStream();
    ASSERT_CODE(WriteStream(stream.get(), "0123456789"), S_OK);
    ULONGLONG position = 0;
    EXPECT_CODE(SeekTo(stream.get(), 4, STREAM_SEEK_SET, &position), S_OK);
    EXPECT_EQ(position, 4u);
    EXPECT_EQ(Read(stream.get(), 3), "456");
    EXPECT_CODE(SeekTo(stream.get(), -5, STREAM_SEEK_CUR, &position), S_OK);
    EXPECT_EQ(position, 2u);
    EXPECT_CODE(SeekTo(stream.get(), -1, STREAM_SEEK_END, &position), S_OK);
    EXPECT_EQ(Read(stream.get(), 5), "9");
    EXPECT_CODE(SeekTo(stream.get(), -11, STREAM_SEEK_END), STG_E_INVALIDFUNCTION);
    EXPECT_CODE(SeekTo(stream.get(), -1, STREAM_SEEK_SET), STG_E_INVALIDFUNCTION);
    EXPECT_CODE(SeekTo(stream.get(), std::numeric_limits<LONGLONG>::min(), STREAM_SEEK_END), STG_E_INVALIDFUNCTION);
    EXPECT_CODE(SeekTo(stream.get(), std::numeric_limits<LONGLONG>::max(), STREAM_SEEK_END), STG_E_INVALIDFUNCTION);
    EXPECT_CODE(SeekTo(stream.get(), 0, 9), STG_E_INVALIDFUNCTION);
    EXPECT_CODE(SeekTo(stream.get(), 0, STREAM_SEEK_CUR, &position), S_OK);
    EXPECT_EQ(position, 10u);
    EXPECT_CODE(SeekTo(stream.get(), 12, STREAM_SEEK_SET), S_OK);
    EXPECT_EQ(Read(stream.get(), 5), "");
    ASSERT_CODE(WriteStream(stream.get(), "x"), S_OK);
    EXPECT_CODE(SeekTo(stream.get(), 9), S_OK);
    EXPECT_EQ(Read(stream.get(), 10), std::string("9\0\0x", 4)) << "the gap is zeros";
}

TEST_F(StreamTest, TheSizeIsSetStatedAndLimited)
{
    auto stream = NewStream();
    ASSERT_CODE(WriteStream(stream.get(), "0123456789"), S_OK);
    ULARGE_INTEGER size{};
    size.QuadPart = 4;
    EXPECT_CODE(stream->SetSize(size), S_OK);
    STATSTG stat{};
    EXPECT_CODE(stream->Stat(&stat, STATFLAG_NONAME), S_OK);
    EXPECT_EQ(stat.cbSize.QuadPart, 4u);
    EXPECT_EQ(stat.type, static_cast<DWORD>(STGTY_STREAM));
    EXPECT_EQ(stat.grfMode, static_cast<DWORD>(STGM_READWRITE));
    EXPECT_EQ(stat.pwcsName, nullptr);
    size.QuadPart = 6;
    EXPECT_CODE(stream->SetSize(size), S_OK);
    EXPECT_CODE(SeekTo(stream.get(), 0), S_OK);
    EXPECT_EQ(Read(stream.get(), 10), std::string("0123\0\0", 6));
    size.QuadPart = 0x100000000ULL;
    EXPECT_CODE(stream->SetSize(size), STG_E_MEDIUMFULL);
    size.QuadPart = ~0ULL;
    EXPECT_CODE(stream->SetSize(size), STG_E_MEDIUMFULL);
    EXPECT_CODE(SeekTo(stream.get(), 0xFFFFFFFFLL), S_OK);
    EXPECT_CODE(WriteStream(stream.get(), "x"), STG_E_MEDIUMFULL);
    EXPECT_EQ(SizeOfStream(stream.get()), 6u);
}

TEST_F(StreamTest, BadPointersAndUnsupportedCallsAreRefused)
{
    auto stream = NewStream();
    ULONG count = 0;
    ULARGE_INTEGER all{};
    all.QuadPart = ~0ULL;
    EXPECT_CODE(stream->Read(nullptr, 4, &count), STG_E_INVALIDPOINTER);
    EXPECT_CODE(stream->Write(nullptr, 4, &count), STG_E_INVALIDPOINTER);
    EXPECT_CODE(stream->Stat(nullptr, STATFLAG_NONAME), STG_E_INVALIDPOINTER);
    EXPECT_CODE(stream->Clone(nullptr), STG_E_INVALIDPOINTER);
    EXPECT_CODE(stream->CopyTo(nullptr, all, nullptr, nullptr), STG_E_INVALIDPOINTER);
    EXPECT_CODE(stream->LockRegion(all, all, 0), STG_E_INVALIDFUNCTION);
    EXPECT_CODE(stream->UnlockRegion(all, all, 0), STG_E_INVALIDFUNCTION);
    char byte = 0;
    EXPECT_CODE(stream->Read(&byte, 0, &count), S_OK);
    EXPECT_CODE(stream->Read(&byte, 1, nullptr), S_OK);
    ComPtr<IUnknown> other;
    EXPECT_CODE(stream->QueryInterface(IID_ISequentialStream, reinterpret_cast<void **>(other.put())), S_OK);
    EXPECT_CODE(stream->QueryInterface(IID_IMessage, reinterpret_cast<void **>(other.put())),
                MAPI_E_INTERFACE_NOT_SUPPORTED);
}

TEST_F(StreamTest, AStreamForReadingWritesNothing)
{
    ASSERT_CODE(SetProps(m_message.get(), {Binary(kBytes, "before", 6)}), S_OK);
    ComPtr<IStream> stream;
    ASSERT_CODE(OpenStream(m_message.get(), kBytes, 0, stream), S_OK);
    EXPECT_CODE(WriteStream(stream.get(), "x"), STG_E_ACCESSDENIED);
    EXPECT_CODE(stream->SetSize({}), STG_E_ACCESSDENIED);
    EXPECT_CODE(stream->Commit(STGC_DEFAULT), S_OK);
    EXPECT_EQ(ReadAll(stream.get()), "before");
}

TEST_F(StreamTest, WhatCanNotBeOpenedSaysWhy)
{
    ASSERT_CODE(SetProps(m_message.get(), {Long(PROP_TAG(PT_LONG, 0x6A21), 1)}), S_OK);
    ComPtr<IStream> stream;
    EXPECT_CODE(OpenStream(m_message.get(), kBytes, 0, stream), MAPI_E_NOT_FOUND);
    EXPECT_CODE(OpenStream(m_message.get(), kBytes, MAPI_MODIFY, stream), MAPI_E_NOT_FOUND);
    EXPECT_CODE(OpenStream(m_message.get(), PROP_TAG(PT_LONG, 0x6A21), 0, stream), MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_CODE(OpenStream(m_message.get(), PROP_TAG(PT_UNSPECIFIED, 0x6A21), 0, stream),
                MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_CODE(OpenStream(m_message.get(), PR_DISPLAY_TO_A, MAPI_CREATE | MAPI_MODIFY, stream), MAPI_E_COMPUTED);
    EXPECT_CODE(OpenStream(m_message.get(), kBytes, 0x100, stream), MAPI_E_UNKNOWN_FLAGS);
    ComPtr<IUnknown> object;
    ASSERT_CODE(SetProps(m_message.get(), {Binary(kBytes, "x", 1)}), S_OK);
    EXPECT_CODE(m_message->OpenProperty(kBytes, &IID_IMAPITable, 0, 0, object.put()), MAPI_E_INTERFACE_NOT_SUPPORTED);
    EXPECT_CODE(m_message->OpenProperty(kBytes, nullptr, 0, 0, object.put()), MAPI_E_INVALID_PARAMETER);
    EXPECT_CODE(m_message->OpenProperty(kBytes, &IID_IStream, 0, 0, nullptr), MAPI_E_INVALID_PARAMETER);
}

TEST_F(StreamTest, ClonesShareBytesAndHavePlacesOfTheirOwn)
{
    auto stream = NewStream();
    ASSERT_CODE(WriteStream(stream.get(), "0123456789"), S_OK);
    EXPECT_CODE(SeekTo(stream.get(), 2), S_OK);
    ComPtr<IStream> clone;
    ASSERT_CODE(stream->Clone(clone.put()), S_OK);
    EXPECT_EQ(Read(clone.get(), 2), "23");
    EXPECT_EQ(Read(stream.get(), 1), "2");
    EXPECT_CODE(SeekTo(clone.get(), 5), S_OK);
    ASSERT_CODE(WriteStream(clone.get(), "five"), S_OK);
    EXPECT_CODE(SeekTo(stream.get(), 4), S_OK);
    EXPECT_EQ(Read(stream.get(), 9), "4five9");
    stream.reset();
    EXPECT_TRUE(BytesOf(m_message.get(), kBytes).empty()) << "the clone still holds it";
    clone.reset();
    EXPECT_EQ(ReadProperty(m_message.get(), kBytes), "01234five9");
}

TEST_F(StreamTest, CopyToCopiesUpToSoManyBytes)
{
    ASSERT_CODE(SetProps(m_message.get(), {Binary(kBytes, "0123456789", 10)}), S_OK);
    ComPtr<IStream> from;
    ASSERT_CODE(OpenStream(m_message.get(), kBytes, 0, from), S_OK);
    auto to = NewStream(PROP_TAG(PT_BINARY, 0x6A23));
    ULARGE_INTEGER count{};
    ULARGE_INTEGER read{};
    ULARGE_INTEGER written{};
    count.QuadPart = 4;
    EXPECT_CODE(from->CopyTo(to.get(), count, &read, &written), S_OK);
    EXPECT_EQ(read.QuadPart, 4u);
    EXPECT_EQ(written.QuadPart, 4u);
    count.QuadPart = ~0ULL;
    EXPECT_CODE(from->CopyTo(to.get(), count, &read, &written), S_OK);
    EXPECT_EQ(read.QuadPart, 6u);
    to.reset();
    EXPECT_EQ(ReadProperty(m_message.get(), PROP_TAG(PT_BINARY, 0x6A23)), "0123456789");
    // Within one stream and its clone.
    ASSERT_CODE(OpenStream(m_message.get(), kBytes, MAPI_MODIFY, from), S_OK);
    ComPtr<IStream> end;
    ASSERT_CODE(from->Clone(end.put()), S_OK);
    ASSERT_CODE(SeekTo(end.get(), 0, STREAM_SEEK_END), S_OK);
    count.QuadPart = 5;
    EXPECT_CODE(from->CopyTo(end.get(), count, nullptr, nullptr), S_OK);
    EXPECT_EQ(SizeOfStream(from.get()), 15u);
}

TEST_F(StreamTest, AStreamKeepsItsMessageAlive)
{
    ASSERT_CODE(SetProps(m_message.get(), {Binary(kBytes, "before", 6)}), S_OK);
    ComPtr<IStream> stream;
    ASSERT_CODE(OpenStream(m_message.get(), kBytes, MAPI_MODIFY, stream), S_OK);
    m_message.reset();
    EXPECT_EQ(ReadAll(stream.get()), "before");
    EXPECT_CODE(WriteStream(stream.get(), "x"), S_OK);
    EXPECT_CODE(stream->Commit(STGC_DEFAULT), S_OK);
}

TEST_F(StreamTest, CommitOnAnObjectThatIsReadOnlyByThenFails)
{
    auto stream = NewStream();
    ASSERT_CODE(m_message->SaveChanges(KEEP_OPEN_READONLY), S_OK);
    ASSERT_CODE(WriteStream(stream.get(), "late"), S_OK);
    EXPECT_CODE(stream->Commit(STGC_DEFAULT), MAPI_E_NO_ACCESS);
    stream.reset();
    EXPECT_EQ(ReadProperty(m_message.get(), kBytes), "") << "as it was when it was saved";
}

TEST_F(StreamTest, ALongRecordingIsWrittenAndReadInPieces)
{
    constexpr ULONG kPiece = 64 * 1024;
    constexpr ULONG kPieces = 320; // 20 MiB
    std::vector<BYTE> piece(kPiece);
    const auto fill = [&](ULONG number) {
        for (ULONG i = 0; i < kPiece; ++i)
            piece[i] = static_cast<BYTE>(i * 31 + number * 7 + (i >> 8));
    };
    {
        ULONG number = 0;
        ComPtr<IAttach> attachment;
        ASSERT_CODE(m_message->CreateAttach(nullptr, 0, &number, attachment.put()), S_OK);
        ComPtr<IStream> stream;
        ASSERT_CODE(OpenStream(attachment.get(), PR_ATTACH_DATA_BIN, MAPI_CREATE | MAPI_MODIFY, stream), S_OK);
        for (ULONG i = 0; i < kPieces; ++i) {
            fill(i);
            ULONG written = 0;
            ASSERT_CODE(stream->Write(piece.data(), kPiece, &written), S_OK);
            ASSERT_EQ(written, kPiece);
        }
        ASSERT_CODE(stream->Commit(STGC_DEFAULT), S_OK);
        stream.reset();
        ASSERT_CODE(attachment->SaveChanges(0), S_OK);
    }
    const EntryIdBytes id = m_mailbox.Save(m_message);
    auto message = m_mailbox.Open(id);
    ComPtr<IAttach> attachment;
    ASSERT_CODE(message->OpenAttach(0, nullptr, 0, attachment.put()), S_OK);
    EXPECT_CODE(GetProps(attachment, {PR_ATTACH_DATA_BIN}).Error(PROP_ID(PR_ATTACH_DATA_BIN)),
                MAPI_E_NOT_ENOUGH_MEMORY);
    EXPECT_GE(LongOf(attachment.get(), PR_ATTACH_SIZE), static_cast<LONG>(kPiece * kPieces));
    ComPtr<IStream> stream;
    ASSERT_CODE(OpenStream(attachment.get(), PR_ATTACH_DATA_BIN, 0, stream), S_OK);
    EXPECT_EQ(SizeOfStream(stream.get()), ULONGLONG{kPiece} * kPieces);
    std::vector<BYTE> read(kPiece);
    for (ULONG i = 0; i < kPieces; ++i) {
        fill(i);
        ULONG count = 0;
        ASSERT_CODE(stream->Read(read.data(), kPiece, &count), S_OK);
        ASSERT_EQ(count, kPiece);
        ASSERT_TRUE(read == piece) << i;
    }
}

TEST_F(StreamTest, StoresAndFoldersHaveStreamsThatWriteAtOnce)
{
    ComPtr<IStream> stream;
    ASSERT_CODE(OpenStream(m_mailbox.Inbox(), kBytes, MAPI_CREATE | MAPI_MODIFY, stream), S_OK);
    ASSERT_CODE(WriteStream(stream.get(), "folder"), S_OK);
    stream.reset();
    EXPECT_EQ(ReadProperty(m_mailbox.Folder(0).get(), kBytes), "folder");
    ASSERT_CODE(OpenStream(m_mailbox.GetStore(), kBytes, MAPI_CREATE | MAPI_MODIFY, stream), S_OK);
    ASSERT_CODE(WriteStream(stream.get(), "store"), S_OK);
    stream.reset();
    EXPECT_EQ(ReadProperty(m_mailbox.StoreOf(m_mailbox.Alice()).get(), kBytes), "store");
}

} // namespace

} // namespace localmapi::test
