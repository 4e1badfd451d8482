// orlmapi: a command line over the library's exports, for operators and integrators.
#include "Commands.h"
#include "Failure.h"
#include "common/Program.h"
#include <CLI/CLI.hpp>
#include <cstdio>

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
    list->add_option("--fax-server", options.faxServers, "A fax server's name; may be given up to 10 times")
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    list->add_flag("--attachments", options.attachments, "Show attachments too");
    list->add_option("--count", options.count, "Messages a page")->check(CLI::Range(1, 1000000))->capture_default_str();
    list->add_flag("--reverse", options.reverse, "Begin with the newest page");
    list->add_flag("--all", options.all, "All pages");
    list->callback([&] { ListHeaders(common, options); });
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

int Run(int argc, char **argv)
{
    std::vector<std::string> words = tool::StartProgram(argc, argv);
    CLI::App app{"A command line over OrlMapi32: users' mailboxes through Extended MAPI.\n"
                 "Exit status: 0 done, 1 failed, 2 used wrongly.",
                 "orlmapi"};
    Common common;
    auto *profileOption = app.add_option("--profile", common.logon.profile, "Log on with this profile");
    auto *server = app.add_option("--server", common.logon.server, "Without a profile: the Exchange server's name");
    auto *mailbox = app.add_option("--mailbox", common.logon.mailbox, "Without a profile: the mailbox to log on as");
    server->needs(mailbox)->excludes(profileOption);
    mailbox->needs(server)->excludes(profileOption);
    app.add_flag("--json", common.json, "Print one JSON document");
    app.require_subcommand(1);
    app.fallthrough();

    std::string profile, code;
    ListOptions listOptions;
    MessageArguments messageArguments;
    AddProfileCommands(app, common, profile, code);
    AddListCommand(app, common, listOptions);
    AddMessageCommands(app, common, messageArguments);

    try {
        std::reverse(words.begin(), words.end()); // CLI11 takes them from the back
        app.parse(std::move(words));
    } catch (const CLI::Success &request) {
        return app.exit(request); // --help
    } catch (const CLI::ParseError &error) {
        std::fprintf(stderr, "orlmapi: %s\nRun orlmapi --help for what can be asked.\n", error.what());
        return 2;
    } catch (const Misuse &misuse) {
        std::fprintf(stderr, "orlmapi: %s\n", misuse.what());
        return 2;
    }
    if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
        std::fputs("orlmapi: standard output could not be written\n", stderr);
        return 1;
    }
    return 0;
}

} // namespace

int main(int argc, char **argv)
{
    try {
        return Run(argc, argv);
    } catch (const std::exception &failure) {
        std::fprintf(stderr, "orlmapi: %s\n", failure.what());
        return 1;
    }
}
