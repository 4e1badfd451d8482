// Messages that are sent: where they arrive, where they are kept, when they are refused.
#include "Operation.h"
#include <algorithm>

namespace mapitest
{

namespace
{

bool GenerateSubmit(World &world, Random &random, Operation &operation)
{
    if (!ChoosesDraft(world, random, operation))
        return false;
    operation.flags = random.OneIn(3) ? ULONG{FORCE_SUBMIT} : 0;
    // Kept where it lies, in Sent Items, or not at all.
    operation.number = random.Below(3);
    return true;
}

// What is to become of it, unless it can not be sent.
HRESULT RefusalOf(World &world, const Operation &operation, const Draft &draft)
{
    if (draft.submitted)
        return MAPI_E_SUBMITTED;
    if (!draft.writable)
        return MAPI_E_NO_ACCESS;
    const auto content = world.model.Effective(draft);
    if (!content)
        return MAPI_E_OBJECT_DELETED;
    if ((content->Flags() & MSGFLAG_SUBMIT) || (draft.message && !(content->Flags() & kUnsent)))
        return MAPI_E_SUBMITTED;
    if (content->recipients.empty())
        return MAPI_E_NO_RECIPIENTS;
    if (!draft.message && !world.model.folders.count(draft.folder))
        return operation.number == 0 ? HRESULT{MAPI_E_OBJECT_DELETED} : S_OK;
    if (draft.message && !(operation.flags & FORCE_SUBMIT) &&
        world.model.FindMessage(draft.message)->version != draft.version)
        return MAPI_E_OBJECT_CHANGED;
    return S_OK;
}

// In the order in which the site makes them: the one that is stored is carried to the last place.
std::set<Name> SendInModel(World &world, const Operation &operation, const Draft &draft, int mailbox)
{
    struct Place {
        Name folder;
        std::int32_t flags;
        bool blind;
    };
    Content content = *world.model.Effective(draft);
    content.FollowAttachments();
    std::vector<Place> places;
    for (const Recipient &recipient : content.recipients) {
        const Name inbox = SpecialFolder(recipient.user, Special::Inbox);
        if (std::none_of(places.begin(), places.end(), [&](const Place &place) { return place.folder == inbox; }))
            places.push_back({inbox, 0, true});
    }
    if (operation.number == 0)
        places.push_back({draft.folder, kRead, false});
    else if (operation.number == 1)
        places.push_back({SpecialFolder(mailbox, Special::Sent), kRead, false});
    std::set<Name> folders;
    int which = 0;
    for (const Place &place : places) {
        Content sent = content;
        for (const ULONG tag : {ULONG{PR_MSG_STATUS}, ULONG{PR_DELETE_AFTER_SUBMIT}, ULONG{PR_SENTMAIL_ENTRYID}})
            sent.Remove(tag);
        sent.Set(PR_MESSAGE_FLAGS, std::int32_t{place.flags});
        if (place.blind) {
            std::erase_if(sent.recipients, [](const Recipient &one) { return one.type == MAPI_BCC; });
            sent.properties[PR_DISPLAY_BCC_W] = std::string();
        }
        for (std::size_t i = 0; i < sent.recipients.size(); ++i)
            sent.recipients[i].row = static_cast<std::int32_t>(i);
        Message *message = nullptr;
        const Name name = operation.Own(which++);
        const bool carried = draft.message && &place == &places.back();
        if (carried && place.folder == draft.folder) {
            message = world.model.FindMessage(draft.message);
            world.model.Touch(*message);
        } else if (carried) {
            message = &world.model.MoveMessage(draft.message, name, place.folder);
            ++message->version;
        } else {
            message = &world.model.AddMessage(name, place.folder, {});
        }
        message->content = std::move(sent);
        message->timesUnknown = true;
        folders.insert(place.folder);
    }
    return folders;
}

void PerformSubmit(World &world, const Operation &operation)
{
    OpenDraft &open = Named(world.drafts, operation.target);
    Draft &draft = open.draft;
    const bool gone = draft.message && !world.model.FindMessage(draft.message);
    const int mailbox = world.model.folders.count(draft.folder) ? world.model.folders.at(draft.folder).mailbox : -1;
    if (mailbox < 0)
        throw PassedOver();
    if (draft.writable && !draft.submitted && !gone && operation.number) {
        const Value sent = world.folderIds.at(SpecialFolder(mailbox, Special::Sent));
        PropList list;
        if (operation.number == 1)
            list.Add(PR_SENTMAIL_ENTRYID, sent);
        list.Add(PR_DELETE_AFTER_SUBMIT, operation.number == 2);
        Expect(open.object->SetProps(list.size(), list.data(), nullptr), S_OK, "SetProps");
        draft.changed = true;
        draft.set[PR_DELETE_AFTER_SUBMIT] = operation.number == 2;
        if (operation.number == 1)
            draft.set[PR_SENTMAIL_ENTRYID] = sent;
    }
    Operation actual = operation;
    if (const auto content = gone ? std::nullopt : world.model.Effective(draft)) {
        // What an earlier try, or a copy, says of the way holds too.
        const auto *remove = FindAs<bool>(content->properties, PR_DELETE_AFTER_SUBMIT);
        const bool kept = Find(content->properties, PR_SENTMAIL_ENTRYID) != nullptr;
        actual.number = remove && *remove ? 2 : kept ? 1 : 0;
        if (actual.number == 1 && *Find(content->properties, PR_SENTMAIL_ENTRYID) !=
                                      Value(world.folderIds.at(SpecialFolder(mailbox, Special::Sent))))
            throw PassedOver();
    }
    const HRESULT wanted = RefusalOf(world, actual, draft);
    const HRESULT hr = open.object->SubmitMessage(operation.flags);
    Expect(hr, wanted, "SubmitMessage");
    if (hr != S_OK)
        return;
    for (const Name folder : SendInModel(world, actual, draft, mailbox)) {
        const int owner = world.model.folders.at(folder).mailbox;
        const int reader = world.sessions[kService].IsOn() ? kService : owner;
        if (!world.sessions[reader].IsOn())
            world.LogOn(reader);
        world.Bind(folder, reader);
    }
    draft = {};
    draft.folder = open.draft.folder;
    draft.submitted = true;
}

} // namespace

const std::vector<OperationKind> &SubmitOperations()
{
    static const std::vector<OperationKind> kinds = {{"submit", 25, GenerateSubmit, PerformSubmit}};
    return kinds;
}

} // namespace mapitest
