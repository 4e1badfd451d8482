// Recipients, attachments and streams of an open message.
#include "Operation.h"
#include <algorithm>

namespace mapitest
{

namespace
{

const std::vector<std::string> kRecipientNames = {"Alice", "Bob", "B", "arthur", "x"};
const std::vector<std::string> kFiles = {"a.wav", "B.wav", "note.txt", "x"};
// Data of attachments: in several of the storage's pieces, too.
constexpr int kSizes[] = {0, 1, 10, 100, 3000, 32768, 70000, 200000, 600000};

// The draft and its contents, where the message is still there.
std::pair<OpenDraft *, Content> Living(World &world, const Operation &operation)
{
    OpenDraft &open = Named(world.drafts, operation.target);
    auto content = open.draft.submitted ? std::nullopt : world.model.Effective(open.draft);
    if (!content)
        throw PassedOver();
    return {&open, *std::move(content)};
}

// --- recipients ---

bool GenerateRecipients(World &world, Random &random, Operation &operation)
{
    if (!ChoosesDraft(world, random, operation))
        return false;
    static const ULONG ways[] = {0, 0, MODRECIP_ADD, MODRECIP_MODIFY, MODRECIP_REMOVE};
    operation.flags = ways[random.Below(5)];
    const bool one = operation.flags == MODRECIP_MODIFY || operation.flags == MODRECIP_REMOVE;
    for (int count = one ? 1 : random.Below(4); count > 0; --count)
        operation.recipients.push_back(
            {random.Between(MAPI_TO, MAPI_BCC), random.Below(kMailboxes), random.Of(kRecipientNames), random.Below(4)});
    return true;
}

void PerformRecipients(World &world, const Operation &operation)
{
    auto [open, content] = Living(world, operation);
    std::deque<PropList> values;
    std::vector<BYTE> memory(CbNewADRLIST(operation.recipients.size() + 1));
    auto *list = reinterpret_cast<ADRLIST *>(memory.data());
    auto rows = operation.flags == 0 ? std::vector<Recipient>() : content.recipients;
    std::int32_t next = 0;
    for (const Recipient &row : rows)
        next = std::max(next, row.row + 1);
    HRESULT wanted = open->draft.writable ? S_OK : MAPI_E_NO_ACCESS;
    for (const Recipient &recipient : operation.recipients) {
        PropList &one = values.emplace_back();
        const bool adds = operation.flags == 0 || operation.flags == MODRECIP_ADD;
        if (!adds)
            one.Add(PR_ROWID, recipient.row);
        one.Add(PR_RECIPIENT_TYPE, recipient.type);
        one.Add(PR_DISPLAY_NAME_W, recipient.name);
        one.Add(PR_ADDRTYPE_W, std::string("EX"));
        one.Add(PR_EMAIL_ADDRESS_W, world.AddressOf(recipient.user));
        list->aEntries[list->cEntries].cValues = one.size();
        list->aEntries[list->cEntries++].rgPropVals = one.data();
        const auto row =
            std::find_if(rows.begin(), rows.end(), [&](const Recipient &known) { return known.row == recipient.row; });
        if (adds) {
            rows.push_back(recipient);
            rows.back().row = next++;
        } else if (row == rows.end()) {
            wanted = wanted == S_OK ? MAPI_E_NOT_FOUND : wanted;
        } else if (operation.flags == MODRECIP_REMOVE) {
            rows.erase(row);
        } else {
            *row = recipient;
        }
    }
    Expect(open->object->ModifyRecipients(operation.flags, list), wanted, "ModifyRecipients");
    if (wanted == S_OK) {
        open->draft.recipients = rows;
        open->draft.changed = true;
    }
}

void PerformReadRecipients(World &world, const Operation &operation)
{
    auto [open, content] = Living(world, operation);
    ComPtr<IMAPITable> table;
    Expect(open->object->GetRecipientTable(MAPI_UNICODE, table.put()), S_OK, "GetRecipientTable");
    static const std::vector<ULONG> columns = {PR_ROWID, PR_RECIPIENT_TYPE, PR_DISPLAY_NAME_W, PR_EMAIL_ADDRESS_W};
    Expect(table->SetColumns(Tags(columns), 0), S_OK, "SetColumns");
    RowSet rows;
    Expect(table->QueryRows(1000, 0, rows.put()), S_OK, "QueryRows");
    Expect(rows.size() == content.recipients.size(), "there are " + std::to_string(rows.size()) + " recipients, not " +
                                                         std::to_string(content.recipients.size()));
    for (ULONG i = 0; i < rows.size(); ++i) {
        const Recipient &wanted = content.recipients[i];
        const Value values[] = {wanted.row, wanted.type, wanted.name, world.AddressOf(wanted.user)};
        for (std::size_t column = 0; column < columns.size(); ++column) {
            const auto difference = Difference(rows[i].lpProps[column], columns[column], &values[column]);
            Expect(difference.empty(), "recipient " + std::to_string(i) + ": " + difference);
        }
    }
}

// --- attachments ---

std::int32_t MethodOf(bool embedded)
{
    return embedded ? ATTACH_EMBEDDED_MSG : ATTACH_BY_VALUE;
}

Bytes Pattern(LONG size, LONG seed)
{
    Bytes bytes(static_cast<std::size_t>(size));
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<BYTE>(static_cast<std::size_t>(seed) * 31 + i * 7 + i / 4096);
    return bytes;
}

bool GenerateAttach(World &world, Random &random, Operation &operation)
{
    if (!ChoosesDraft(world, random, operation))
        return false;
    operation.properties[PR_ATTACH_LONG_FILENAME_W] = random.Of(kFiles);
    operation.yes = random.OneIn(6);
    operation.size =
        random.OneIn(5) ? kSizes[random.Below(static_cast<int>(std::size(kSizes)))] : kSizes[random.Below(4)];
    operation.number = random.Below(250);
    operation.flags = static_cast<ULONG>(random.OneIn(10)); // not saved in the message
    return true;
}

void WriteBytes(IStream *stream, const BYTE *bytes, std::size_t size, std::size_t piece)
{
    for (std::size_t at = 0; at < size; at += piece) {
        const auto length = static_cast<ULONG>(std::min(piece, size - at));
        ULONG written = 0;
        Expect(stream->Write(bytes + at, length, &written), S_OK, "IStream::Write");
        Expect(written == length, "a stream took " + std::to_string(written) + " bytes of " + std::to_string(length));
    }
}

Bytes ReadBytes(IStream *stream)
{
    STATSTG stat{};
    Expect(stream->Stat(&stat, STATFLAG_NONAME), S_OK, "IStream::Stat");
    Bytes bytes;
    BYTE piece[40000];
    for (ULONG read = 1; read;) {
        Expect(stream->Read(piece, sizeof piece, &read), S_OK, "IStream::Read");
        bytes.insert(bytes.end(), piece, piece + read);
    }
    // And once more from a place that was passed.
    LARGE_INTEGER back{};
    back.QuadPart = static_cast<LONGLONG>(bytes.size() / 3);
    Expect(stream->Seek(back, STREAM_SEEK_SET, nullptr), S_OK, "IStream::Seek");
    ULONG again = 0;
    Expect(stream->Read(piece, 100, &again), S_OK, "IStream::Read");
    Expect(again == std::min<std::size_t>(100, bytes.size() - bytes.size() / 3) &&
               std::equal(piece, piece + again, bytes.begin() + static_cast<std::ptrdiff_t>(bytes.size() / 3)),
           "a stream reads otherwise when it is read again");
    Expect(stat.cbSize.QuadPart == bytes.size(), "a stream says that it has " + std::to_string(stat.cbSize.QuadPart) +
                                                     " bytes and has " + std::to_string(bytes.size()));
    return bytes;
}

void PerformAttach(World &world, const Operation &operation)
{
    auto [open, content] = Living(world, operation);
    ULONG number = 0;
    ComPtr<IAttach> object;
    const HRESULT hr = open->object->CreateAttach(nullptr, 0, &number, object.put());
    Expect(hr, open->draft.writable ? S_OK : MAPI_E_NO_ACCESS, "CreateAttach");
    if (hr != S_OK)
        return;
    Attachment attachment;
    attachment.file = std::get<std::string>(operation.properties.at(PR_ATTACH_LONG_FILENAME_W));
    PropList list(operation.properties);
    list.Add(PR_ATTACH_METHOD, MethodOf(operation.yes));
    Expect(object->SetProps(list.size(), list.data(), nullptr), S_OK, "SetProps of an attachment");
    if (operation.yes) {
        attachment.embedded = "within " + std::to_string(operation.number);
        ComPtr<IMessage> within;
        Expect(object->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, MAPI_CREATE | MAPI_MODIFY,
                                    reinterpret_cast<IUnknown **>(within.put())),
               S_OK, "OpenProperty of an embedded message");
        PropList inner({{PR_SUBJECT_W, *attachment.embedded}});
        Expect(within->SetProps(inner.size(), inner.data(), nullptr), S_OK, "SetProps of an embedded message");
        Expect(within->SaveChanges(0), S_OK, "SaveChanges of an embedded message");
    } else {
        attachment.data = Pattern(operation.size, operation.number);
        ComPtr<IStream> stream;
        Expect(object->OpenProperty(PR_ATTACH_DATA_BIN, &IID_IStream, 0, MAPI_CREATE | MAPI_MODIFY,
                                    reinterpret_cast<IUnknown **>(stream.put())),
               S_OK, "OpenProperty of an attachment's data");
        WriteBytes(stream.get(), attachment.data.data(), attachment.data.size(),
                   static_cast<std::size_t>(operation.number) * 100 + 1000);
        Expect(stream->Commit(0), S_OK, "IStream::Commit");
    }
    if (operation.flags)
        return;
    Expect(object->SaveChanges(0), S_OK, "SaveChanges of an attachment");
    const auto key = static_cast<std::int32_t>(number);
    Expect(!content.attachments.count(key), "the attachment number " + std::to_string(key) + " is given twice");
    open->draft.attachments[key] = std::move(attachment);
    open->draft.changed = true;
}

bool GenerateDetach(World &world, Random &random, Operation &operation)
{
    operation.number = random.Below(4);
    return ChoosesDraft(world, random, operation);
}

void PerformDetach(World &world, const Operation &operation)
{
    auto [open, content] = Living(world, operation);
    const bool there = content.attachments.count(operation.number) != 0;
    Expect(open->object->DeleteAttach(static_cast<ULONG>(operation.number), 0, nullptr, 0),
           !open->draft.writable ? MAPI_E_NO_ACCESS
           : there               ? S_OK
                                 : MAPI_E_NOT_FOUND,
           "DeleteAttach");
    if (!open->draft.writable || !there)
        return;
    // What was attached here and not saved yet is forgotten, whatever somebody else has given the number meanwhile.
    if (open->draft.attachments.erase(operation.number) == 0)
        open->draft.attachments[operation.number] = std::nullopt;
    open->draft.changed = !open->draft.IsEmpty();
}

void CompareAttachment(IMessage *message, std::int32_t number, const Attachment &wanted)
{
    ComPtr<IAttach> object;
    Expect(message->OpenAttach(static_cast<ULONG>(number), nullptr, 0, object.put()), S_OK, "OpenAttach");
    if (!wanted.embedded) {
        ComPtr<IStream> stream;
        Expect(
            object->OpenProperty(PR_ATTACH_DATA_BIN, &IID_IStream, 0, 0, reinterpret_cast<IUnknown **>(stream.put())),
            S_OK, "OpenProperty of an attachment's data");
        Expect(ReadBytes(stream.get()) == wanted.data, "attachment " + std::to_string(number) + " has other data");
        return;
    }
    ComPtr<IMessage> within;
    Expect(object->OpenProperty(PR_ATTACH_DATA_OBJ, &IID_IMessage, 0, 0, reinterpret_cast<IUnknown **>(within.put())),
           S_OK, "OpenProperty of an embedded message");
    ULONG count = 0;
    Block<SPropValue> values;
    Expect(within->GetProps(Tags({PR_SUBJECT_W}), 0, &count, values.put()), S_OK, "GetProps of an embedded message");
    const Value subject = *wanted.embedded;
    Expect(Difference(values[0], PR_SUBJECT_W, &subject).empty(), "the embedded message is another one");
}

void PerformReadAttachments(World &world, const Operation &operation)
{
    auto [open, content] = Living(world, operation);
    ComPtr<IMAPITable> table;
    Expect(open->object->GetAttachmentTable(MAPI_UNICODE, table.put()), S_OK, "GetAttachmentTable");
    static const std::vector<ULONG> columns = {PR_ATTACH_NUM, PR_ATTACH_LONG_FILENAME_W, PR_ATTACH_METHOD};
    Expect(table->SetColumns(Tags(columns), 0), S_OK, "SetColumns");
    RowSet rows;
    Expect(table->QueryRows(1000, 0, rows.put()), S_OK, "QueryRows");
    Expect(rows.size() == content.attachments.size(), "there are " + std::to_string(rows.size()) +
                                                          " attachments, not " +
                                                          std::to_string(content.attachments.size()));
    ULONG row = 0;
    for (const auto &[number, wanted] : content.attachments) {
        const Value values[] = {number, wanted.file, MethodOf(wanted.embedded.has_value())};
        for (std::size_t column = 0; column < columns.size(); ++column) {
            const auto difference = Difference(rows[row].lpProps[column], columns[column], &values[column]);
            Expect(difference.empty(), "attachment " + std::to_string(number) + ": " + difference);
        }
        CompareAttachment(open->object.get(), number, wanted);
        ++row;
    }
}

// --- streams ---

bool GenerateWrite(World &world, Random &random, Operation &operation)
{
    operation.flags = random.OneIn(2) ? ULONG{PR_BODY_W} : kBytes;
    operation.size =
        random.OneIn(6) ? kSizes[random.Below(static_cast<int>(std::size(kSizes)))] : kSizes[random.Below(4)];
    operation.number = random.Below(250);
    operation.yes = random.OneIn(2);
    return ChoosesDraft(world, random, operation);
}

// Bytes anew, or over and behind those that are there; text anew.
void PerformWrite(World &world, const Operation &operation)
{
    auto [open, content] = Living(world, operation);
    const bool text = operation.flags == PR_BODY_W;
    const Value *before = Find(content.properties, operation.flags);
    const bool anew = text || operation.yes || !before;
    ComPtr<IStream> stream;
    const HRESULT hr =
        open->object->OpenProperty(operation.flags, &IID_IStream, 0, anew ? MAPI_CREATE | MAPI_MODIFY : MAPI_MODIFY,
                                   reinterpret_cast<IUnknown **>(stream.put()));
    Expect(hr, open->draft.writable ? S_OK : MAPI_E_NO_ACCESS, "OpenProperty of " + NameOf(operation.flags));
    if (hr != S_OK)
        return;
    Value after;
    if (text) {
        std::u16string units;
        for (LONG i = 0; i < operation.size / 2; ++i)
            units += static_cast<char16_t>(i % 50 == 49 ? 0xE9 : 'a' + (i + operation.number) % 26);
        WriteBytes(stream.get(), reinterpret_cast<const BYTE *>(units.data()), units.size() * 2,
                   static_cast<std::size_t>(operation.number) * 100 + 2);
        after = Utf8(units);
    } else {
        Bytes whole = anew ? Bytes() : std::get<Bytes>(*before);
        const Bytes more = Pattern(operation.size, operation.number);
        const std::size_t at = whole.empty() ? 0 : static_cast<std::size_t>(operation.number) % (whole.size() + 1);
        LARGE_INTEGER move{};
        move.QuadPart = static_cast<LONGLONG>(at);
        ULARGE_INTEGER now{};
        Expect(stream->Seek(move, STREAM_SEEK_SET, &now), S_OK, "IStream::Seek");
        Expect(now.QuadPart == at, "a stream stands elsewhere than it was told");
        WriteBytes(stream.get(), more.data(), more.size(), static_cast<std::size_t>(operation.number) * 100 + 1);
        whole.resize(std::max(whole.size(), at + more.size()));
        std::copy(more.begin(), more.end(), whole.begin() + static_cast<std::ptrdiff_t>(at));
        if (operation.number % 4 == 0) {
            ULARGE_INTEGER size{};
            size.QuadPart = operation.number % 8 == 0 ? whole.size() / 2 : whole.size() + 100;
            Expect(stream->SetSize(size), S_OK, "IStream::SetSize");
            whole.resize(static_cast<std::size_t>(size.QuadPart));
        }
        after = std::move(whole);
        if (!anew && more.empty() && operation.number % 4 != 0)
            return; // nothing was written
    }
    if (operation.number % 2)
        Expect(stream->Commit(0), S_OK, "IStream::Commit");
    stream.reset();
    open->draft.set[operation.flags] = std::move(after);
    open->draft.removed.erase(operation.flags);
    open->draft.changed = true;
}

void PerformReadStream(World &world, const Operation &operation)
{
    auto [open, content] = Living(world, operation);
    const Value *wanted = Find(content.properties, operation.flags);
    ComPtr<IStream> stream;
    Expect(open->object->OpenProperty(operation.flags, &IID_IStream, 0, 0, reinterpret_cast<IUnknown **>(stream.put())),
           wanted ? S_OK : MAPI_E_NOT_FOUND, "OpenProperty of " + NameOf(operation.flags));
    if (!wanted)
        return;
    const Bytes bytes = ReadBytes(stream.get());
    if (const auto *text = std::get_if<std::string>(wanted)) {
        // Who only reads gets a terminator with it.
        const std::u16string units(reinterpret_cast<const char16_t *>(bytes.data()), bytes.size() / 2);
        Expect(Utf8(units) == *text + '\0', "the stream of " + NameOf(operation.flags) + " has other text");
    } else {
        Expect(bytes == std::get<Bytes>(*wanted), "the stream of " + NameOf(operation.flags) + " has other bytes");
    }
}

} // namespace

const std::vector<OperationKind> &PartOperations()
{
    static const std::vector<OperationKind> kinds = {{"modify recipients", 50, GenerateRecipients, PerformRecipients},
                                                     {"read recipients", 25, ChoosesDraft, PerformReadRecipients},
                                                     {"attach", 20, GenerateAttach, PerformAttach},
                                                     {"detach", 10, GenerateDetach, PerformDetach},
                                                     {"read attachments", 20, ChoosesDraft, PerformReadAttachments},
                                                     {"write stream", 25, GenerateWrite, PerformWrite},
                                                     {"read stream", 25, GenerateWrite, PerformReadStream}};
    return kinds;
}

} // namespace mapitest
