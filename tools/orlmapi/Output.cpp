// Headers of messages as JSON, and as columns in the width that the terminal has.
#include "Output.h"
#include "common/Program.h"
#include "common/Text.h"
#include <algorithm>
#include <cstdio>

using nlohmann::ordered_json;
using tool::ToUtf8;

void PrintJson(const ordered_json &document)
{
    PrintLine(document.dump(2, ' ', false, ordered_json::error_handler_t::replace));
}

void PrintLine(const std::string &line)
{
    std::fwrite(line.data(), 1, line.size(), stdout);
    std::fputc('\n', stdout);
}

std::string IsoTime(SYSTEMTIME time)
{
    if (time.wYear == 0)
        return {};
    char text[40];
    int length = std::snprintf(text, sizeof text, "%04u-%02u-%02uT%02u:%02u:%02u", time.wYear, time.wMonth, time.wDay,
                               time.wHour, time.wMinute, time.wSecond);
    if (time.wMilliseconds != 0)
        length += std::snprintf(text + length, sizeof text - length, ".%03u", time.wMilliseconds);
    return std::string(text, length) + "Z";
}

namespace
{

// A field of a packed record by value: a reference to it would be misaligned.
ordered_json Field(LONG value)
{
    return value;
}
ordered_json Field(ULONG value)
{
    return value;
}

} // namespace

ordered_json HeaderAsJson(const EmailHeaderW &header)
{
    ordered_json attachments = ordered_json::array();
    for (ULONG i = 0; i < header.cAttachments; ++i) {
        const AttachmentInfoW &attachment = header.pAttachments[i];
        attachments.push_back({{"number", Field(attachment.ulAttachNum)},
                               {"size", Field(attachment.ulSize)},
                               {"mimeTag", ToUtf8(attachment.pszMimeTag)},
                               {"fileName", ToUtf8(attachment.pszFilename)}});
    }
    const std::string submitted = IsoTime(header.stSubmitTime);
    return {{"entryId", tool::ToHex(header.pEntryID, header.cbEntryID)},
            {"senderName", ToUtf8(header.pszSenderName)},
            {"creatorName", ToUtf8(header.pszCreatorName)},
            {"comment", ToUtf8(header.pszComment)},
            {"submitTime", submitted.empty() ? ordered_json() : ordered_json(submitted)},
            {"read", header.bRead != 0},
            {"private", header.bPrivate != 0},
            {"highPriority", header.bHighPriority != 0},
            {"size", Field(header.ulSize)},
            {"seconds", Field(header.lSecs)},
            {"number", ToUtf8(header.pszNumber)},
            {"name", ToUtf8(header.pszName)},
            {"offset", Field(header.offset)},
            {"messagesReceived", Field(header.ulMsgReceived)},
            {"attachments", std::move(attachments)}};
}

namespace
{

// Columns: submitted 19, flags 3, seconds 5, size 9, attachments 3, and who takes what the terminal has left.
constexpr int kFixedColumns = 19 + 3 + 5 + 9 + 3 + 5;

std::size_t WhoColumns()
{
    return static_cast<std::size_t>(std::max(12, tool::TerminalWidth() - kFixedColumns - 1));
}

std::string Row(const std::string &submitted, const std::string &flags, const std::string &seconds,
                const std::string &size, const std::string &attachments, const std::string &who)
{
    const auto right = [](const std::string &text, std::size_t width) {
        return std::string(width - std::min(width, text.size()), ' ') + text;
    };
    std::string row = tool::Fit(submitted, 19) + ' ' + tool::Fit(flags, 3) + ' ' + right(seconds, 5) + ' ' +
                      right(size, 9) + ' ' + right(attachments, 3) + ' ' + tool::Fit(who, WhoColumns());
    row.erase(row.find_last_not_of(' ') + 1);
    return row;
}

} // namespace

void PrintHeaderHeading()
{
    PrintLine(Row("SUBMITTED (UTC)", "R!P", "SECS", "BYTES", "ATT", "FROM"));
}

void PrintHeader(const EmailHeaderW &header)
{
    std::string submitted = IsoTime(header.stSubmitTime).substr(0, 19);
    std::replace(submitted.begin(), submitted.end(), 'T', ' ');
    const std::string flags = {header.bRead ? 'R' : '-', header.bHighPriority ? '!' : '-', header.bPrivate ? 'P' : '-'};
    std::string who = ToUtf8(header.pszSenderName);
    const std::string caller = ToUtf8(header.pszName);
    const std::string number = ToUtf8(header.pszNumber);
    const std::string creator = ToUtf8(header.pszCreatorName);
    if (!caller.empty() && caller != who)
        who += (who.empty() ? "" : ", ") + caller;
    if (!number.empty())
        who += (who.empty() ? "" : " ") + number;
    if (who.empty())
        who = creator;
    PrintLine(Row(submitted, flags, header.lSecs ? std::to_string(header.lSecs) : "", std::to_string(header.ulSize),
                  header.cAttachments ? std::to_string(header.cAttachments) : "", who));
    PrintLine("  " + tool::ToHex(header.pEntryID, header.cbEntryID));
    for (ULONG i = 0; i < header.cAttachments; ++i) {
        const AttachmentInfoW &attachment = header.pAttachments[i];
        const std::string mimeTag = ToUtf8(attachment.pszMimeTag);
        PrintLine("  attachment " + std::to_string(attachment.ulAttachNum) + ": " +
                  tool::Clean(ToUtf8(attachment.pszFilename)) +
                  (mimeTag.empty() ? "" : " (" + tool::Clean(mimeTag) + ")") + ", " +
                  std::to_string(attachment.ulSize) + " bytes");
    }
}
