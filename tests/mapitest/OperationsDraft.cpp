// Messages that a client has open: made, opened, changed, read, saved, marked, copied, let go.
#include "Operation.h"
#include <algorithm>

namespace mapitest
{

namespace
{

constexpr std::size_t kMostDrafts = 8;

// --- new and open ---

bool GenerateNew(World &world, Random &random, Operation &operation)
{
    operation.session = SomeSession(world, random);
    if (operation.session < 0 || world.drafts.size() >= kMostDrafts)
        return false;
    operation.target = SomeFolder(world, random, operation.session);
    return operation.target != 0;
}

void PerformNew(World &world, const Operation &operation)
{
    SessionOf(world, operation);
    Named(world.model.folders, operation.target);
    OpenDraft open;
    open.session = operation.session;
    open.draft.folder = operation.target;
    open.draft.changed = true;
    Expect(world.FolderOf(operation.session, operation.target)->CreateMessage(nullptr, 0, open.object.put()), S_OK,
           "CreateMessage");
    world.drafts[operation.Own()] = std::move(open);
}

bool GenerateOpen(World &world, Random &random, Operation &operation)
{
    operation.session = SomeSession(world, random);
    if (operation.session < 0 || world.drafts.size() >= kMostDrafts || world.model.messages.empty())
        return false;
    const auto message =
        std::next(world.model.messages.begin(), random.Below(static_cast<int>(world.model.messages.size())));
    operation.target = message->first;
    static const ULONG flags[] = {MAPI_BEST_ACCESS, MAPI_BEST_ACCESS, MAPI_MODIFY, 0};
    operation.flags = flags[random.Below(4)];
    return World::MayUse(operation.session, world.model.folders.at(message->second.folder).mailbox);
}

void PerformOpen(World &world, const Operation &operation)
{
    SessionOf(world, operation);
    const Message &message = Named(world.model.messages, operation.target);
    OpenDraft open;
    open.session = operation.session;
    open.object = world.OpenMessage(operation.session, message, operation.flags, S_OK);
    open.draft.message = message.name;
    open.draft.folder = message.folder;
    open.draft.version = message.version;
    open.draft.writable = operation.flags != 0;
    Expect(BytesOf(open.object.get(), PR_ENTRYID) == message.entryId, "a message has another entry ID when opened");
    world.drafts[operation.Own()] = std::move(open);
}

void PerformClose(World &world, const Operation &operation)
{
    Named(world.drafts, operation.target);
    world.drafts.erase(operation.target);
}

// --- properties ---

bool GenerateSet(World &world, Random &random, Operation &operation)
{
    if (!ChoosesDraft(world, random, operation))
        return false;
    for (int count = random.Between(1, 4); count > 0; --count) {
        const ULONG tag = random.Of(SettableTags());
        operation.properties[tag] = RandomValue(random, tag);
    }
    if (random.OneIn(8))
        operation.properties[PR_MESSAGE_FLAGS] = RandomValue(random, PR_MESSAGE_FLAGS);
    operation.yes = random.OneIn(3);
    return true;
}

void PerformSet(World &world, const Operation &operation)
{
    OpenDraft &open = Named(world.drafts, operation.target);
    Draft &draft = open.draft;
    if (draft.submitted || (draft.message && !world.model.FindMessage(draft.message)))
        throw PassedOver();
    PropList list;
    for (const auto &[tag, value] : operation.properties) {
        const auto *text = std::get_if<std::string>(&value);
        const bool ascii = text && std::all_of(text->begin(), text->end(), [](char c) { return c >= 0; });
        list.Add(tag, value, operation.yes && ascii);
    }
    Block<SPropProblemArray> problems;
    const HRESULT hr = open.object->SetProps(list.size(), list.data(), problems.put());
    Expect(hr, draft.writable ? S_OK : MAPI_E_NO_ACCESS, "SetProps");
    if (!draft.writable)
        return;
    const bool computed = draft.message && operation.properties.count(PR_MESSAGE_FLAGS);
    Expect(static_cast<bool>(problems) == computed,
           computed ? "SetProps took flags of a saved message" : "SetProps has a problem");
    if (computed)
        Expect(problems->cProblem == 1 && problems->aProblem[0].ulPropTag == PR_MESSAGE_FLAGS &&
                   problems->aProblem[0].scode == MAPI_E_COMPUTED,
               "the problem of SetProps is another one");
    for (const auto &[tag, value] : operation.properties) {
        if (tag == PR_MESSAGE_FLAGS && computed)
            continue;
        draft.set[tag] = value;
        draft.removed.erase(tag);
        draft.changed = true;
        if (tag == PR_SUBJECT_W)
            draft.prefix.reset();
    }
}

bool GenerateDelete(World &world, Random &random, Operation &operation)
{
    if (!ChoosesDraft(world, random, operation))
        return false;
    std::set<ULONG> tags;
    for (int count = random.Between(1, 3); count > 0; --count)
        tags.insert(random.Of(SettableTags()));
    if (random.OneIn(6))
        tags.insert(PR_HASATTACH);
    operation.tags.assign(tags.begin(), tags.end());
    return true;
}

void PerformDelete(World &world, const Operation &operation)
{
    OpenDraft &open = Named(world.drafts, operation.target);
    Draft &draft = open.draft;
    const auto content = draft.submitted ? std::nullopt : world.model.Effective(draft);
    if (!content)
        throw PassedOver();
    Block<SPropProblemArray> problems;
    const HRESULT hr = open.object->DeleteProps(Tags(operation.tags), problems.put());
    Expect(hr, draft.writable ? S_OK : MAPI_E_NO_ACCESS, "DeleteProps");
    if (!draft.writable)
        return;
    std::string got, wanted;
    for (ULONG i = 0; problems && i < problems->cProblem; ++i)
        got += NameOf(problems->aProblem[i].ulPropTag) + " " + NameOf(HRESULT{problems->aProblem[i].scode}) + " ";
    for (const ULONG tag : operation.tags) {
        if (tag == PR_HASATTACH) {
            wanted += NameOf(tag) + " " + NameOf(HRESULT{MAPI_E_COMPUTED}) + " ";
        } else if (!Find(content->properties, tag)) {
            wanted += NameOf(tag) + " " + NameOf(HRESULT{MAPI_E_NOT_FOUND}) + " ";
        } else {
            draft.set.erase(tag);
            draft.removed.insert(tag);
            draft.changed = true;
        }
    }
    Expect(got == wanted, "DeleteProps has the problems " + got + "and not " + wanted);
}

void PerformRead(World &world, const Operation &operation)
{
    OpenDraft &open = Named(world.drafts, operation.target);
    const auto content = open.draft.submitted ? std::nullopt : world.model.Effective(open.draft);
    ULONG count = 0;
    Block<SPropValue> values;
    const HRESULT hr = open.object->GetProps(Tags(ReadTags()), MAPI_UNICODE, &count, values.put());
    if (!content)
        return Expect(hr, MAPI_E_OBJECT_DELETED, "GetProps of a message that is gone");
    Expect(SUCCEEDED(hr) && count == ReadTags().size(), "GetProps gave " + NameOf(hr));
    bool errors = false;
    for (ULONG i = 0; i < count; ++i) {
        errors = errors || PROP_TYPE(values[i].ulPropTag) == PT_ERROR;
        const Value *wanted = Find(content->properties, ReadTags()[i]);
        // A long value that is not saved yet may come whole.
        if (open.draft.set.count(ReadTags()[i]) && IsLong(*wanted) && values[i].ulPropTag == ReadTags()[i] &&
            ValueOf(values[i]) == *wanted)
            continue;
        const std::string difference = Difference(values[i], ReadTags()[i], wanted);
        Expect(difference.empty(), "GetProps: " + difference);
    }
    Expect(hr, errors ? MAPI_W_ERRORS_RETURNED : S_OK, "GetProps");
}

// --- saving ---

bool GenerateSave(World &world, Random &random, Operation &operation)
{
    static const ULONG flags[] = {KEEP_OPEN_READWRITE, KEEP_OPEN_READWRITE, KEEP_OPEN_READWRITE,
                                  KEEP_OPEN_READWRITE | FORCE_SAVE, 0};
    operation.flags = flags[random.Below(5)];
    return ChoosesDraft(world, random, operation);
}

HRESULT SaveInModel(World &world, const Operation &operation, Draft &draft)
{
    if (draft.submitted || !draft.writable)
        return MAPI_E_NO_ACCESS;
    Model &model = world.model;
    if (!draft.message) {
        if (!model.folders.count(draft.folder))
            return MAPI_E_OBJECT_DELETED;
        Content content = *model.Effective(draft);
        draft.message = model.AddMessage(operation.Own(), draft.folder, std::move(content)).name;
    } else if (draft.changed) {
        Message *message = model.FindMessage(draft.message);
        if (!message)
            return MAPI_E_OBJECT_DELETED;
        if (!(operation.flags & FORCE_SAVE) && message->version != draft.version)
            return MAPI_E_OBJECT_CHANGED;
        model.Apply(draft, message->content);
        message->content.FollowAttachments();
        model.Touch(*message);
    }
    if (const Message *message = model.FindMessage(draft.message)) {
        auto &recipients = model.FindMessage(draft.message)->content.recipients;
        for (std::size_t i = 0; draft.changed && i < recipients.size(); ++i)
            recipients[i].row = static_cast<std::int32_t>(i);
        if (draft.changed)
            draft.version = message->version;
    }
    const Name saved = draft.message, folder = draft.folder;
    const std::int64_t version = draft.version;
    draft = {};
    draft.message = saved;
    draft.folder = folder;
    draft.version = version;
    draft.writable = (operation.flags & KEEP_OPEN_READWRITE) != 0;
    return S_OK;
}

void PerformSave(World &world, const Operation &operation)
{
    OpenDraft &open = Named(world.drafts, operation.target);
    const bool isNew = open.draft.message == 0;
    const HRESULT hr = open.object->SaveChanges(operation.flags);
    Expect(hr, SaveInModel(world, operation, open.draft), "SaveChanges");
    if (hr == S_OK && isNew)
        world.Learn(*world.model.FindMessage(open.draft.message), BytesOf(open.object.get(), PR_ENTRYID),
                    BytesOf(open.object.get(), PR_INSTANCE_KEY));
}

bool GenerateMark(World &world, Random &random, Operation &operation)
{
    operation.flags = random.OneIn(2) ? ULONG{CLEAR_READ_FLAG} : 0;
    return ChoosesDraft(world, random, operation);
}

void PerformMark(World &world, const Operation &operation)
{
    OpenDraft &open = Named(world.drafts, operation.target);
    Draft &draft = open.draft;
    if (draft.submitted)
        throw PassedOver();
    const bool read = operation.flags == 0;
    HRESULT wanted = S_OK;
    if (!draft.message) {
        if (draft.writable) {
            const std::int32_t flags = world.model.Effective(draft)->Flags();
            draft.set[PR_MESSAGE_FLAGS] = std::int32_t{read ? flags | kRead : flags & ~kRead};
        } else {
            wanted = MAPI_E_NO_ACCESS;
        }
    } else if (Message *message = world.model.FindMessage(draft.message)) {
        const std::int32_t flags = message->content.Flags();
        const std::int32_t marked = read ? flags | kRead : flags & ~kRead;
        if (marked != flags) {
            const bool current = message->version == draft.version;
            message->content.properties[PR_MESSAGE_FLAGS] = marked;
            world.model.Touch(*message);
            // What a client marks himself is no reason to refuse what he saves.
            if (current)
                draft.version = message->version;
        }
    } else {
        wanted = MAPI_E_OBJECT_DELETED;
    }
    Expect(open.object->SetReadFlag(operation.flags), wanted, "SetReadFlag");
}

// --- copying ---

bool GenerateCopy(World &world, Random &random, Operation &operation)
{
    if (!ChoosesDraft(world, random, operation))
        return false;
    const int session = world.drafts.at(operation.target).session;
    operation.other = SomeFolder(world, random, session);
    if (random.OneIn(2))
        operation.tags = {random.OneIn(2) ? ULONG{kNumber} : ULONG{PR_MESSAGE_RECIPIENTS}};
    return operation.other != 0;
}

void PerformCopy(World &world, const Operation &operation)
{
    OpenDraft &open = Named(world.drafts, operation.target);
    Named(world.model.folders, operation.other);
    const auto content = open.draft.submitted ? std::nullopt : world.model.Effective(open.draft);
    if (!content)
        throw PassedOver();
    ComPtr<IMessage> target;
    Expect(world.FolderOf(open.session, operation.other)->CreateMessage(nullptr, 0, target.put()), S_OK,
           "CreateMessage");
    Block<SPropProblemArray> problems;
    Tags excluded(operation.tags);
    Expect(open.object->CopyTo(0, nullptr, operation.tags.empty() ? nullptr : static_cast<SPropTagArray *>(excluded), 0,
                               nullptr, &IID_IMessage, target.get(), 0, problems.put()),
           S_OK, "CopyTo");
    Expect(!problems, "CopyTo has a problem");
    Expect(target->SaveChanges(KEEP_OPEN_READWRITE), S_OK, "SaveChanges of a copy");
    const auto leaves = [&](ULONG tag) {
        return std::find(operation.tags.begin(), operation.tags.end(), tag) != operation.tags.end();
    };
    Content copy = NewContent();
    for (const auto &[tag, value] : content->properties)
        if (tag != PR_HASATTACH && tag != PR_NORMALIZED_SUBJECT_W && tag != PR_DISPLAY_TO_W && tag != PR_DISPLAY_CC_W &&
            tag != PR_DISPLAY_BCC_W && !leaves(tag))
            copy.Set(tag, value);
    copy.FollowSubject(content->properties.count(PR_SUBJECT_PREFIX_W)
                           ? std::optional(std::get<std::string>(content->properties.at(PR_SUBJECT_PREFIX_W)))
                           : std::nullopt);
    if (!leaves(PR_MESSAGE_RECIPIENTS)) {
        copy.recipients = content->recipients;
        for (std::size_t i = 0; i < copy.recipients.size(); ++i)
            copy.recipients[i].row = static_cast<std::int32_t>(i);
        copy.FollowRecipients();
    }
    std::int32_t number = 0;
    for (const auto &[old, attachment] : content->attachments)
        copy.attachments[number++] = attachment;
    copy.FollowAttachments();
    Message &made = world.model.AddMessage(operation.Own(), operation.other, std::move(copy));
    world.Learn(made, BytesOf(target.get(), PR_ENTRYID), BytesOf(target.get(), PR_INSTANCE_KEY));
}

} // namespace

const std::vector<OperationKind> &DraftOperations()
{
    static const std::vector<OperationKind> kinds = {{"new message", 60, GenerateNew, PerformNew},
                                                     {"open message", 60, GenerateOpen, PerformOpen},
                                                     {"close message", 40, ChoosesDraft, PerformClose},
                                                     {"set properties", 120, GenerateSet, PerformSet},
                                                     {"delete properties", 25, GenerateDelete, PerformDelete},
                                                     {"read properties", 110, ChoosesDraft, PerformRead},
                                                     {"save", 110, GenerateSave, PerformSave},
                                                     {"mark", 25, GenerateMark, PerformMark},
                                                     {"copy to", 12, GenerateCopy, PerformCopy}};
    return kinds;
}

} // namespace mapitest
