// orlmapi: a command line over the library's exports, for operators and integrators.
#include "Commands.h"
#include "common/CommandLine.h"

namespace
{

void AddProfileCommands(CLI::App &app, Common &common, std::string &profile, std::string &code)
{
    app.add_subcommand("profiles", "List the MAPI profiles of this account")->callback([&] { ListProfiles(common); });
    auto *serverName = app.add_subcommand("server-name", "Show a profile's Exchange server and user");
    serverName->add_option("PROFILE", profile, "A profile; without one, the profile that is logged on with");
    serverName->callback([&] { ShowServerName(common, profile); });
    auto *error = app.add_subcommand("error", "Name a result code");
    error->add_option("CODE", code, "0x8004010f or a decimal number")->required();
    error->callback([&] { ExplainError(common, code); });
}

void AddListCommand(CLI::App &app, Common &common, ListOptions &options)
{
    auto *list = app.add_subcommand("list", "List messages of a mailbox's Inbox, oldest first");
    list->add_option("MAILBOX", options.mailbox, "A user's name")->required();
    list->add_flag("--um", options.um, "Voice mail of unified messaging only (without it: none of it)");
    list->add_flag("--fax", options.fax, "Faxes only (without it: none)");
    list->add_flag("--read", options.read, "Read messages (without it: unread ones)");
    list->add_flag("--priority", options.priority, "Messages of high priority (without it: the others)");
    list->add_flag("--summary", options.summary, "Summary mode; with --fax read and unread alike");
    tool::Repeatable(
        list->add_option("--fax-server", options.faxServers, "A fax server's name; may be given up to 10 times"));
    list->add_flag("--attachments", options.attachments, "Show attachments too");
    list->add_option("--count", options.count, "Messages a page")->check(CLI::Range(1, 1000000))->capture_default_str();
    list->add_flag("--reverse", options.reverse, "Begin with the newest page");
    list->add_flag("--all", options.all, "All pages");
    list->callback([&] { ListHeaders(common, options); });
}

void AddWatchCommand(CLI::App &app, Common &common, WatchOptions &options)
{
    auto *watch =
        app.add_subcommand("watch", "Print a line whenever a mailbox's voice mail counts change; Ctrl-C ends");
    watch->add_option("MAILBOX", options.mailboxes, "Users' names")->required();
    watch->add_option("--count", options.count, "End after this many lines")->check(CLI::Range(1ul, 4000000000ul));
    watch->add_option("--for", options.seconds, "End after this many seconds")->check(CLI::Range(1ul, 4000000000ul));
    watch->callback([&] { WatchMailboxes(common, options); });
}

struct MessageArguments {
    std::string mailbox, entryId, file;
    ULONG number = 0;
    bool read = false, unread = false;
};

CLI::App *AddMessageCommand(CLI::App &app, const char *name, const char *description, MessageArguments &arguments)
{
    auto *command = app.add_subcommand(name, description);
    command->add_option("MAILBOX", arguments.mailbox, "A user's name")->required();
    command->add_option("ENTRYID", arguments.entryId, "The message, as list shows it (hexadecimal)")->required();
    return command;
}

void AddMessageCommands(CLI::App &app, Common &common, MessageArguments &arguments)
{
    const auto id = [&] { return ParseEntryId(arguments.entryId); };
    AddMessageCommand(app, "show", "Show one message's header", arguments)->callback([&common, &arguments, id] {
        ShowHeader(common, arguments.mailbox, id());
    });
    AddMessageCommand(app, "flags", "Show whether a message is private, urgent and read", arguments)
        ->callback([&common, &arguments, id] { ShowFlags(common, arguments.mailbox, id()); });
    AddMessageCommand(app, "text", "Show a message's subject and body", arguments)->callback([&common, &arguments, id] {
        ShowText(common, arguments.mailbox, id());
    });

    auto *save = AddMessageCommand(app, "save", "Save a recording to a file", arguments);
    save->add_option("NUMBER", arguments.number, "The attachment's number, as list --attachments shows it")->required();
    save->add_option("FILE", arguments.file, "Where to; an existing file is overwritten")->required();
    save->callback([&common, &arguments, id] {
        SaveAttachment(common, arguments.mailbox, id(), arguments.number, arguments.file);
    });

    auto *mark = AddMessageCommand(app, "mark", "Mark a message read or unread", arguments);
    auto *how = mark->add_option_group("how");
    how->add_flag("--read", arguments.read, "Mark it read");
    how->add_flag("--unread", arguments.unread, "Mark it unread");
    how->require_option(1);
    mark->callback([&common, &arguments, id] { MarkRead(common, arguments.mailbox, id(), arguments.read); });

    AddMessageCommand(app, "delete", "Move a message to Deleted Items", arguments)->callback([&common, &arguments, id] {
        DeleteMessage(common, arguments.mailbox, id());
    });
}

void AddAttachOptions(CLI::App &command, AttachOptions &options, const char *description)
{
    auto *file = command.add_option("--attach", options.file, description);
    command.add_option("--attach-name", options.name, "The name under which it is shown; else the file's own")
        ->needs(file);
}

CLI::App *AddSendCommand(CLI::App &app, const char *name, const char *description, SendOptions &options)
{
    auto *command = app.add_subcommand(name, description);
    command->add_option("TO", options.to, "Users or addresses, separated by semicolons")->required();
    command->add_flag("--urgent", options.urgent, "Of high importance");
    command->add_flag("--private", options.isPrivate, "Private");
    command->add_option("--from", options.from, "Send from this mailbox; else from that of the logon");
    return command;
}

void AddSendCommands(CLI::App &app, Common &common, SendOptions &options, VoicemailOptions &voicemail)
{
    auto *send = AddSendCommand(app, "send", "Send a message", options);
    send->add_option("--subject", options.subject, "The subject")->required();
    auto *body = send->add_option("--body", options.body, "The text");
    send->add_option("--body-file", options.bodyFile, "A file with the text, in UTF-8")->excludes(body);
    AddAttachOptions(*send, options.attach, "A file to attach");
    send->callback([&] { SendMail(common, options); });

    auto *voice = AddSendCommand(app, "send-voicemail", "Send a voice mail of unified messaging", options);
    voice->add_option("--wav", options.attach.file, "The recording")->required();
    voice->add_option("--seconds", voicemail.seconds, "Its length")->required()->check(CLI::Range(0, INT32_MAX));
    voice->add_option("--number", voicemail.number, "The caller's telephone number");
    voice->add_option("--name", voicemail.name, "The caller's name");
    voice->add_option("--subject", options.subject, "The subject; else made of the caller and the length");
    voice->add_option("--body", options.body, "The text");
    voice->add_option("--order", voicemail.order, "The attachments' order; else the recording's name");
    voice->callback([&] { SendVoicemail(common, options, voicemail); });
}

void AddAnswerCommands(CLI::App &app, Common &common, MessageArguments &arguments, SendOptions &options)
{
    const auto id = [&] { return ParseEntryId(arguments.entryId); };
    auto *forward = AddMessageCommand(app, "forward", "Forward a message", arguments);
    forward->add_option("TO", options.to, "Users or addresses, separated by semicolons")->required();
    forward->callback(
        [&common, &arguments, &options, id] { ForwardMessage(common, arguments.mailbox, id(), options.to); });

    auto *respond = AddMessageCommand(app, "respond", "Answer a message to its sender", arguments);
    AddAttachOptions(*respond, options.attach, "A file to attach, such as a recording");
    respond->callback(
        [&common, &arguments, &options, id] { RespondToMessage(common, arguments.mailbox, id(), options.attach); });
}

struct CalendarArguments {
    std::string mailbox, date;
};

void AddCalendarCommand(CLI::App &app, Common &common, CalendarArguments &arguments)
{
    auto *calendar = app.add_subcommand("calendar", "Show a day of a mailbox's calendar, in local time");
    calendar->add_option("MAILBOX", arguments.mailbox, "A user's name")->required();
    calendar->add_option("DATE", arguments.date, "2026-11-23, or as the locale writes dates; today without it");
    calendar->callback([&] { ShowCalendar(common, arguments.mailbox, arguments.date); });
}

struct Arguments {
    Common common;
    std::string profile, code;
    ListOptions list;
    WatchOptions watch;
    MessageArguments message;
    SendOptions send;
    VoicemailOptions voicemail;
    CalendarArguments calendar;
};

void Describe(CLI::App &app, Arguments &arguments)
{
    LogonOptions &logon = arguments.common.logon;
    auto *profile = app.add_option("--profile", logon.profile, "Log on with this profile");
    auto *server = app.add_option("--server", logon.server, "Without a profile: the Exchange server's name");
    auto *mailbox = app.add_option("--mailbox", logon.mailbox, "Without a profile: the mailbox to log on as");
    server->needs(mailbox)->excludes(profile);
    mailbox->needs(server)->excludes(profile);
    app.add_flag("--json", arguments.common.json, "Print one JSON document");
    AddProfileCommands(app, arguments.common, arguments.profile, arguments.code);
    AddListCommand(app, arguments.common, arguments.list);
    AddMessageCommands(app, arguments.common, arguments.message);
    AddSendCommands(app, arguments.common, arguments.send, arguments.voicemail);
    AddAnswerCommands(app, arguments.common, arguments.message, arguments.send);
    AddWatchCommand(app, arguments.common, arguments.watch);
    AddCalendarCommand(app, arguments.common, arguments.calendar);
}

} // namespace

int main(int argc, char **argv)
{
    Arguments arguments;
    return tool::RunCommandLine(
        {"orlmapi", "A command line over OrlMapi32: users' mailboxes through Extended MAPI.", ORLMAPI_VERSION},
        [&](CLI::App &app) { Describe(app, arguments); }, argc, argv);
}
