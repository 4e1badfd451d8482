// localmapi deliver and fill: messages that arrive, made of files and options.
#include "localmapi/delivery/Compose.h"
#include "localmapi/delivery/Fill.h"
#include "localmapi/delivery/OpenFile.h"
#include "localmapi/delivery/Recording.h"
#include "localmapi/storage/Path.h"
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

void AttachFile(storage::MessageChanges &message, const std::string &file, const std::string &mimeTag)
{
    try {
        Attach(message, storage::PathOf(file), mimeTag);
    } catch (const std::runtime_error &error) {
        throw Failure(FileError(file, error));
    }
}

Recording RecordingIn(const std::string &file)
{
    try {
        if (auto recording = ExamineRecording(storage::PathOf(file)))
            return *recording;
    } catch (const std::runtime_error &error) {
        throw Failure(FileError(file, error));
    }
    throw Failure(file + ": this is neither a WAVE file nor Windows Media audio");
}

// Bodies are kept as UTF-8: anything else would come out broken much later.
std::string ReadText(const std::string &file)
{
    std::string text;
    try {
        std::ifstream stream = OpenFile(storage::PathOf(file));
        text.assign(std::istreambuf_iterator<char>(stream), {});
    } catch (const std::runtime_error &error) {
        throw Failure(FileError(file, error));
    }
    if (!::tool::IsUtf8(text))
        throw Failure(file + ": this is not text in UTF-8");
    return text;
}

std::string BodyOf(const DeliverOptions &options)
{
    return options.bodyFile.empty() ? options.body : ReadText(options.bodyFile);
}

void Put(const Common &common, const storage::Site &site, const storage::User &to,
         const storage::MessageChanges &message)
{
    const storage::ObjectId inbox = storage::Directory(site).GetMailbox(to.mailbox).inbox;
    storage::Objects(site).CreateMessage(inbox, message);
    const auto *subject = message.properties.set.get<std::string>(0x0037001F);
    if (common.json)
        PrintJson({{"to", to.alias}, {"subject", *subject}, {"attachments", message.attachments.size()}});
    else
        PrintLine("delivered to " + to.alias + ": " + *subject);
}

Sender SenderOrFailure(const storage::Site &site, const std::string &from)
{
    if (auto sender = SenderNamed(site, from))
        return *sender;
    throw Failure("\"" + from + "\" is neither a user nor an address");
}

} // namespace

void DeliverVoicemail(const Common &common, const DeliverOptions &options)
{
    const storage::Site site = OpenSiteForOneChange(common);
    const storage::User to = UserNamed(site, options.to);
    const Recording recording = RecordingIn(options.wav);
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
    const auto known = options.name.empty() ? std::nullopt : SenderNamed(site, options.name);
    voicemail.from = known ? *known : Sender{caller, "", ""};

    storage::MessageChanges message = Compose(voicemail, to, storage::CurrentTime());
    AttachFile(message, options.wav, recording.mimeTag);
    Put(common, site, to, message);
}

void DeliverMail(const Common &common, const DeliverOptions &options)
{
    const storage::Site site = OpenSiteForOneChange(common);
    const storage::User to = UserNamed(site, options.to);
    storage::MessageChanges message = Compose(Mail{SenderOrFailure(site, options.from),
                                                   "",
                                                   options.subject,
                                                   BodyOf(options),
                                                   {options.urgent, options.isPrivate}},
                                              to, storage::CurrentTime());
    for (const std::string &file : options.attachments)
        AttachFile(message, file, "");
    Put(common, site, to, message);
}

void DeliverFax(const Common &common, const DeliverOptions &options)
{
    const storage::Site site = OpenSiteForOneChange(common);
    const storage::User to = UserNamed(site, options.to);
    const Sender from = options.from.empty() ? Sender{options.creator, "", ""} : SenderOrFailure(site, options.from);
    storage::MessageChanges message =
        Compose(Mail{from, options.creator, "Fax from " + from.name, "", {}}, to, storage::CurrentTime());
    for (const std::string &file : options.attachments)
        AttachFile(message, file, "");
    Put(common, site, to, message);
}

void FillMailbox(const Common &common, const FillOptions &options)
{
    const storage::Site site = OpenSite(common);
    const storage::User user = UserNamed(site, options.user);
    Mix mix;
    if (!options.mix.empty()) {
        mix = {false, false, false};
        for (const std::string &kind : options.mix)
            (kind == "voicemail" ? mix.voicemail : kind == "mail" ? mix.mail : mix.fax) = true;
    }
    {
        Progress progress("messages", options.count);
        Fill(site, user, options.count, mix, storage::CurrentTime(), [&](std::uint64_t done) { progress.At(done); });
    }
    if (common.json)
        PrintJson({{"user", user.alias}, {"count", options.count}});
    else
        PrintLine("put " + std::to_string(options.count) + " messages into the Inbox of " + user.alias);
}

} // namespace localmapi::tool
