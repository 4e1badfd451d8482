// The model's messages and folders, and what follows from a message's parts.
#include "Model.h"
#include <algorithm>

namespace mapitest
{

// --- contents ---

void Content::Set(ULONG tag, const Value &value)
{
    if (tag == PR_MESSAGE_FLAGS)
        properties[tag] = std::int32_t{(std::get<std::int32_t>(value) & ~(kHasAttachments | kAssociated)) |
                                       (Flags() & kHasAttachments)};
    else
        properties[tag] = value;
}

std::int32_t Content::Flags() const
{
    const auto *flags = FindAs<std::int32_t>(properties, PR_MESSAGE_FLAGS);
    return flags ? *flags : 0;
}

std::pair<std::string, std::string> SplitSubject(const std::string &subject, const std::optional<std::string> &prefix)
{
    std::size_t length = 0;
    if (prefix && subject.compare(0, prefix->size(), *prefix) == 0) {
        length = prefix->size();
    } else {
        // Up to three characters that are no digits and no blanks, a colon, a blank.
        const std::u16string wide = Utf16(subject);
        const std::size_t colon = wide.find(u':');
        if (colon != wide.npos && colon > 0 && colon <= 3 && colon + 1 < wide.size() && wide[colon + 1] == u' ' &&
            std::none_of(wide.begin(), wide.begin() + static_cast<std::ptrdiff_t>(colon),
                         [](char16_t c) { return c <= u' ' || (c >= u'0' && c <= u'9'); }))
            length = Utf8(wide.substr(0, colon + 2)).size();
    }
    return {subject.substr(0, length), subject.substr(length)};
}

void Content::FollowSubject(const std::optional<std::string> &prefix)
{
    const auto *subject = FindAs<std::string>(properties, PR_SUBJECT_W);
    if (!subject) {
        properties.erase(PR_NORMALIZED_SUBJECT_W);
        return;
    }
    auto [before, rest] = SplitSubject(*subject, prefix);
    properties[PR_NORMALIZED_SUBJECT_W] = std::move(rest);
    properties[PR_SUBJECT_PREFIX_W] = std::move(before);
}

void Content::FollowRecipients()
{
    std::map<std::int32_t, std::string> names;
    for (const Recipient &recipient : recipients)
        names[recipient.type] += (names[recipient.type].empty() ? "" : "; ") + recipient.name;
    properties[PR_DISPLAY_TO_W] = names[MAPI_TO];
    properties[PR_DISPLAY_CC_W] = names[MAPI_CC];
    properties[PR_DISPLAY_BCC_W] = names[MAPI_BCC];
}

void Content::FollowAttachments()
{
    properties[PR_HASATTACH] = !attachments.empty();
    if (Find(properties, PR_MESSAGE_FLAGS))
        properties[PR_MESSAGE_FLAGS] =
            std::int32_t{attachments.empty() ? Flags() & ~kHasAttachments : Flags() | kHasAttachments};
}

Content NewContent()
{
    Content content;
    content.properties = {{PR_MESSAGE_CLASS_W, std::string("IPM.Note")},
                          {PR_MESSAGE_FLAGS, std::int32_t{kRead | kUnsent}},
                          {PR_IMPORTANCE, std::int32_t{IMPORTANCE_NORMAL}},
                          {PR_SENSITIVITY, std::int32_t{SENSITIVITY_NONE}}};
    content.FollowRecipients();
    content.FollowAttachments();
    return content;
}

// --- folders and messages ---

std::vector<Message *> Model::In(Name folder)
{
    std::vector<Message *> found;
    for (auto &[name, message] : messages)
        if (message.folder == folder)
            found.push_back(&message);
    std::sort(found.begin(), found.end(),
              [](const Message *left, const Message *right) { return left->sequence < right->sequence; });
    return found;
}

std::vector<const Message *> Model::Constant(Name folder)
{
    const auto found = In(folder);
    return {found.begin(), found.end()};
}

Message *Model::FindMessage(Name name)
{
    const auto found = messages.find(name);
    return found == messages.end() ? nullptr : &found->second;
}

std::vector<Name> Model::Subfolders(Name folder) const
{
    std::vector<Name> found;
    for (const auto &[name, one] : folders)
        if (one.parent == folder)
            found.push_back(name);
    return found;
}

void Model::RemoveFolder(Name folder)
{
    for (const Name below : Subfolders(folder))
        RemoveFolder(below);
    for (const Message *message : In(folder))
        RemoveMessage(message->name);
    folders.erase(folder);
}

void Model::RemoveMessage(Name message)
{
    touched.push_back({message, messages.at(message).folder});
    messages.erase(message);
}

Message &Model::AddMessage(Name name, Name folder, Content content)
{
    Message message;
    message.name = name;
    message.folder = folder;
    message.sequence = ++m_sequence;
    message.content = std::move(content);
    touched.push_back({name, folder});
    return messages[name] = std::move(message);
}

Message &Model::MoveMessage(Name message, Name newName, Name folder)
{
    Message moved = std::move(messages.at(message));
    touched.push_back({message, moved.folder});
    messages.erase(message);
    moved.name = newName;
    moved.folder = folder;
    moved.sequence = ++m_sequence;
    moved.entryId.clear();
    moved.instanceKey.clear();
    touched.push_back({newName, folder});
    return messages[newName] = std::move(moved);
}

// --- drafts ---

void Model::Apply(const Draft &draft, Content &content) const
{
    for (const ULONG tag : draft.removed)
        content.Remove(tag);
    for (const auto &[tag, value] : draft.set)
        content.Set(tag, value);
    if (draft.removed.count(PR_SUBJECT_W) || draft.set.count(PR_SUBJECT_W))
        content.FollowSubject(draft.prefix);
    if (draft.recipients) {
        content.recipients = *draft.recipients;
        content.FollowRecipients();
    }
    for (const auto &[number, attachment] : draft.attachments) {
        if (attachment)
            content.attachments[number] = *attachment;
        else
            content.attachments.erase(number);
    }
}

std::optional<Content> Model::Effective(const Draft &draft)
{
    Content content;
    if (draft.message) {
        const Message *stored = FindMessage(draft.message);
        if (!stored)
            return {};
        content = stored->content;
    } else {
        content = NewContent();
    }
    Apply(draft, content);
    // A saved message says that it has attachments when it is saved with them.
    if (!draft.message)
        content.FollowAttachments();
    return content;
}

} // namespace mapitest
