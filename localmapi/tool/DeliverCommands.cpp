// localmapi deliver and fill: messages that arrive, made of files and options.
#include "localmapi/delivery/Compose.h"
#include "localmapi/delivery/Fill.h"
#include "localmapi/delivery/OpenFile.h"
#include "localmapi/delivery/Recording.h"
#include "localmapi/storage/Time.h"
#include "localmapi/tool/Tool.h"
#include "tools/common/CommandLine.h"
#include "tools/common/Text.h"
#include <iterator>

namespace localmapi::tool
{

using namespace localmapi::delivery;

namespace
{

void attachFile(storage::MessageChanges &message, const std::string &file, const std::string &mimeTag)
{
    try {
        attach(message, pathOf(file), mimeTag);
    } catch (const std::system_error &error) {
        throw Failure(fileError(file, error));
    }
}

Recording recordingIn(const std::string &file)
{
    try {
        if (auto recording = examineRecording(pathOf(file)))
            return *recording;
    } catch (const std::system_error &error) {
        throw Failure(fileError(file, error));
    }
    throw Failure(file + ": this is neither a WAVE file nor Windows Media audio");
}

// Bodies are kept as UTF-8: anything else would come out broken much later.
std::string readText(const std::string &file)
{
    std::string text;
    try {
        std::ifstream stream = openFile(pathOf(file));
        text.assign(std::istreambuf_iterator<char>(stream), {});
    } catch (const std::system_error &error) {
        throw Failure(fileError(file, error));
    }
    if (!::tool::IsUtf8(text))
        throw Failure(file + ": this is not text in UTF-8");
    return text;
}

std::string bodyOf(const DeliverOptions &options)
{
    return options.bodyFile.empty() ? options.body : readText(options.bodyFile);
}

void put(const Common &common, const storage::Site &site, const storage::User &to,
         const storage::MessageChanges &message)
{
    const storage::ObjectId inbox = storage::Directory(site).mailbox(to.mailbox).inbox;
    storage::Objects(site).createMessage(inbox, message);
    const auto *subject = message.properties.set.get<std::string>(0x0037001F);
    if (common.json)
        printJson({{"to", to.alias}, {"subject", *subject}, {"attachments", message.attachments.size()}});
    else
        printLine("delivered to " + to.alias + ": " + *subject);
}

Sender senderOrFailure(const storage::Site &site, const std::string &from)
{
    if (auto sender = senderNamed(site, from))
        return *sender;
    throw Failure("\"" + from + "\" is neither a user nor an address");
}

} // namespace

void deliverVoicemail(const Common &common, const DeliverOptions &options)
{
    const storage::Site site = openSite(common);
    const storage::User to = userNamed(site, options.to);
    const Recording recording = recordingIn(options.wav);
    if (options.seconds < 0 && !recording.seconds)
        throw ::tool::Misuse(options.wav + " does not tell how long it is: give --seconds");

    Voicemail voicemail;
    voicemail.number = options.number;
    voicemail.name = options.name;
    voicemail.seconds = options.seconds >= 0 ? options.seconds : *recording.seconds;
    voicemail.subject = options.subject;
    voicemail.traits = {options.urgent, options.isPrivate};
    // A caller whose name is a user's is that user, who can then be answered.
    const std::string caller = !options.name.empty() ? options.name : options.number;
    const auto known = options.name.empty() ? std::nullopt : senderNamed(site, options.name);
    voicemail.from = known ? *known : Sender{caller, "", ""};

    storage::MessageChanges message = compose(voicemail, to, storage::currentTime());
    attachFile(message, options.wav, recording.mimeTag);
    put(common, site, to, message);
}

void deliverMail(const Common &common, const DeliverOptions &options)
{
    const storage::Site site = openSite(common);
    const storage::User to = userNamed(site, options.to);
    storage::MessageChanges message = compose(Mail{senderOrFailure(site, options.from),
                                                   "",
                                                   options.subject,
                                                   bodyOf(options),
                                                   {options.urgent, options.isPrivate}},
                                              to, storage::currentTime());
    for (const std::string &file : options.attachments)
        attachFile(message, file, "");
    put(common, site, to, message);
}

void deliverFax(const Common &common, const DeliverOptions &options)
{
    const storage::Site site = openSite(common);
    const storage::User to = userNamed(site, options.to);
    const Sender from = options.from.empty() ? Sender{options.creator, "", ""} : senderOrFailure(site, options.from);
    storage::MessageChanges message =
        compose(Mail{from, options.creator, "Fax from " + from.name, "", {}}, to, storage::currentTime());
    for (const std::string &file : options.attachments)
        attachFile(message, file, "");
    put(common, site, to, message);
}

void fillMailbox(const Common &common, const FillOptions &options)
{
    const storage::Site site = openSite(common);
    const storage::User user = userNamed(site, options.user);
    Mix mix;
    if (!options.mix.empty()) {
        mix = {false, false, false};
        for (const std::string &kind : options.mix)
            (kind == "voicemail" ? mix.voicemail : kind == "mail" ? mix.mail : mix.fax) = true;
    }
    {
        Progress progress("messages", options.count);
        fill(site, user, options.count, mix, storage::currentTime(), [&](std::uint64_t done) { progress.at(done); });
    }
    if (common.json)
        printJson({{"user", user.alias}, {"count", options.count}});
    else
        printLine("put " + std::to_string(options.count) + " messages into the Inbox of " + user.alias);
}

} // namespace localmapi::tool
