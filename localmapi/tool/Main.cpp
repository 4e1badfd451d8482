// localmapi: makes and fills sites, and registers localmapi as Windows' mail client.
#include "localmapi/storage/Error.h"
#include "localmapi/storage/SqliteVersion.h"
#include "localmapi/tool/AppointmentOptions.h"
#include "localmapi/tool/Tool.h"
#include "tools/common/CommandLine.h"

namespace
{

using namespace localmapi::tool;

struct Arguments {
    Common common;
    std::string server, organization, group, name, smtp, user, folder = "inbox";
    UserOptions newUser;
    DeliverOptions delivery;
    FillOptions fill;
    PurgeOptions purge;
    std::int32_t longest = 10;
    AppointmentOptions appointment;
    bool isDefault = false, repair = false, noCopy = false;
};

// What a command does; an argument that the storage refuses was a misuse.
void OnCommand(CLI::App &command, std::function<void()> action)
{
    command.callback([action = std::move(action)] {
        try {
            action();
        } catch (const localmapi::storage::Error &error) {
            if (error.GetFault() == localmapi::storage::Fault::Invalid)
                throw ::tool::Misuse(error.what());
            throw;
        }
    });
}

void AddSiteCommands(CLI::App &app, Arguments &a)
{
    auto *init = app.add_subcommand("init", "Make a site");
    init->add_option("--server", a.server, "The server's name, as clients will ask for it")->required();
    init->add_option("--organization", a.organization, "The organization's name")->required();
    init->add_option("--group", a.group,
                     "Who may use the site beside this account: a group, on Windows also an account");
    OnCommand(*init, [&] { InitSite(a.common, a.server, a.organization, a.group); });

    OnCommand(*app.add_subcommand("sample", "Make a site to try things with: users, a service account with the default "
                                            "profile, and a mailbox of messages"),
              [&] { MakeSample(a.common); });

    auto *user = app.add_subcommand("user", "Users, each with a mailbox");
    user->require_subcommand(1);
    auto *addition = user->add_subcommand("add", "Add a user");
    addition->add_option("ALIAS", a.newUser.alias, "Short name")->required();
    addition->add_option("--name", a.newUser.name, "Full name, as the address book shows it")->required();
    addition->add_option("--smtp", a.newUser.smtp, "Mail address; ALIAS@ORGANIZATION.example without it");
    addition->add_flag("--service", a.newUser.service, "A service account: may open every mailbox");
    addition->add_option("--quota", a.newUser.quota,
                         "What the mailbox may hold: 500KB, 200MB, 2GB; no limit without it");
    OnCommand(*addition, [&] { AddUser(a.common, a.newUser); });
    auto *quota = user->add_subcommand("quota", "Show or set what a mailbox may hold");
    quota->add_option("ALIAS", a.user, "A user's alias")->required();
    quota->add_option("SIZE", a.name, "500KB, 200MB, 2GB or none");
    OnCommand(*quota, [&] { SetUserQuota(a.common, a.user, a.name); });
    OnCommand(*user->add_subcommand("list", "List the users"), [&] { ListUsers(a.common); });

    auto *contact = app.add_subcommand("contact", "People elsewhere");
    contact->require_subcommand(1);
    auto *contactAddition = contact->add_subcommand("add", "Add a contact");
    contactAddition->add_option("NAME", a.name, "Full name")->required();
    contactAddition->add_option("--smtp", a.smtp, "Mail address")->required();
    OnCommand(*contactAddition, [&] { AddContact(a.common, a.name, a.smtp); });

    auto *check = app.add_subcommand("check", "Check the integrity of the file and of what is in it");
    check->add_flag("--repair", a.repair, "Mend what can be mended");
    OnCommand(*check, [&] { CheckSite(a.common, a.repair); });

    auto *backup = app.add_subcommand("backup", "Copy the whole site into one new file, while others work with it");
    backup->add_option("COPY", a.name, "The new file")->required();
    OnCommand(*backup, [&] { BackUpSite(a.common, a.name); });

    auto *restore = app.add_subcommand("restore", "Put a copy in the site's place, while others work with it");
    restore->add_option("COPY", a.name, "The file that backup made")->required();
    OnCommand(*restore, [&] { RestoreSite(a.common, a.name); });

    auto *upgrade =
        app.add_subcommand("upgrade", "Bring a file of an older version to this one, and keep a copy of it");
    upgrade->add_flag("--no-copy", a.noCopy, "Keep none");
    OnCommand(*upgrade, [&] { UpgradeSite(a.common, !a.noCopy); });
}

void AddUpkeepCommands(CLI::App &app, Arguments &a)
{
    OnCommand(*app.add_subcommand("info", "What the site is, what it takes on the disk, what each mailbox holds"),
              [&] { ShowInfo(a.common); });

    auto *purge = app.add_subcommand(
        "purge", "Remove old messages for good, read or not, while others work with the site. Outside of Deleted Items "
                 "it leaves calendars, appointments, contacts, tasks and notes, and what was not sent yet");
    purge
        ->add_option("--older-than", a.purge.days,
                     "Days since delivery, in Deleted Items also since the message came there; 0 with --deleted only")
        ->required()
        ->check(CLI::Range(0, 36500));
    purge->add_option("--user", a.purge.user, "A user's alias; everybody without it");
    purge->add_flag("--deleted", a.purge.deletedOnly, "From Deleted Items and the folders in it alone");
    purge->add_flag("--dry-run", a.purge.dryRun, "Only tell what it would remove");
    OnCommand(*purge, [&] { PurgeMessages(a.common, a.purge); });

    auto *compact = app.add_subcommand("compact", "Give what is free in the file back to the disk. Others read on "
                                                  "meanwhile; who writes waits");
    compact
        ->add_option("--longest", a.longest,
                     "Seconds of preparation after which it is given up, for others wait about twice as long; 0: never")
        ->check(CLI::Range(0, 86400))
        ->capture_default_str();
    OnCommand(*compact, [&] { CompactSite(a.common, a.longest); });
}

void AddProfileCommands(CLI::App &app, Arguments &a)
{
    auto *profile = app.add_subcommand("profile", "MAPI profiles");
    profile->require_subcommand(1);
    auto *addition = profile->add_subcommand("add", "Add a profile");
    addition->add_option("NAME", a.name, "The profile's name")->required();
    addition->add_option("--user", a.user, "Whose profile it is (a user's alias)")->required();
    addition->add_flag("--default", a.isDefault, "Make it the default profile");
    OnCommand(*addition, [&] { AddProfile(a.common, a.name, a.user, a.isDefault); });
    OnCommand(*profile->add_subcommand("list", "List the profiles"), [&] { ListProfiles(a.common); });
    auto *removal = profile->add_subcommand("remove", "Remove a profile");
    removal->add_option("NAME", a.name, "The profile's name")->required();
    OnCommand(*removal, [&] { RemoveProfile(a.common, a.name); });
}

void AddTraits(CLI::App &command, DeliverOptions &delivery)
{
    command.add_flag("--urgent", delivery.urgent, "High importance");
    command.add_flag("--private", delivery.isPrivate, "Private");
}

void AddDeliverCommands(CLI::App &app, Arguments &a)
{
    auto *deliver = app.add_subcommand("deliver", "Put a message into a user's Inbox");
    deliver->require_subcommand(1);
    DeliverOptions &d = a.delivery;

    auto *voicemail = deliver->add_subcommand("voicemail", "A voice mail, as unified messaging makes it");
    voicemail->add_option("--to", d.to, "A user's alias")->required();
    voicemail->add_option("--wav", d.wav, "The recording: WAVE or Windows Media audio")->required();
    voicemail->add_option("--from-number", d.number, "The caller's telephone number");
    voicemail->add_option("--from-name", d.name, "The caller's name");
    voicemail->add_option("--seconds", d.seconds, "Its length; read from the WAVE file without it")
        ->check(CLI::Range(0, 0x7FFFFFFF));
    voicemail->add_option("--subject", d.subject, "Subject");
    AddTraits(*voicemail, d);
    OnCommand(*voicemail, [&] { DeliverVoicemail(a.common, a.delivery); });

    auto *mail = deliver->add_subcommand("mail", "An e-mail");
    mail->add_option("--to", d.to, "A user's alias")->required();
    mail->add_option("--from", d.from, "A user, or an address")->required();
    mail->add_option("--subject", d.subject, "Subject")->required();
    auto *body = mail->add_option("--body", d.body, "Text");
    mail->add_option("--body-file", d.bodyFile, "A file with the text, in UTF-8")->excludes(body);
    ::tool::Repeatable(mail->add_option("--attach", d.attachments, "A file; may be given again"));
    AddTraits(*mail, d);
    OnCommand(*mail, [&] { DeliverMail(a.common, a.delivery); });

    auto *fax = deliver->add_subcommand("fax", "A fax, as a fax server delivers it");
    fax->add_option("--to", d.to, "A user's alias")->required();
    ::tool::Repeatable(fax->add_option("--attach", d.attachments, "A file with the pages; may be given again"))
        ->required();
    d.creator = "Fax Server";
    fax->add_option("--creator", d.creator, "The fax server's name")->capture_default_str();
    fax->add_option("--from", d.from, "The sender's address");
    OnCommand(*fax, [&] { DeliverFax(a.common, a.delivery); });
}

void AddAppointmentCommands(CLI::App &app, Arguments &a)
{
    auto *appointment = app.add_subcommand("appointment", "Appointments of a user's calendar");
    appointment->require_subcommand(1);
    auto *addition = appointment->add_subcommand("add", "Put an appointment into a calendar");
    AppointmentOptions &o = a.appointment;
    addition->add_option("--user", o.user, "A user's alias")->required();
    addition->add_option("--start", o.start, "\"2026-11-23 09:00\", local time")->required();
    addition->add_option("--end", o.end, "The same; of a recurring one, of its first occurrence")->required();
    addition->add_option("--subject", o.subject, "Subject")->required();
    addition->add_option("--location", o.location, "Where");
    addition->add_option("--body", o.body, "Text");
    addition->add_option("--busy", o.busy, "free, tentative, busy or oof (out of office)")
        ->check(CLI::IsMember({"free", "tentative", "busy", "oof"}))
        ->capture_default_str();
    addition->add_option("--recur", o.recur, "daily, weekly, monthly or yearly; once without it")
        ->check(CLI::IsMember({"daily", "weekly", "monthly", "yearly"}));
    addition->add_option("--every", o.every, "Every so many days, weeks, months or years")
        ->check(CLI::Range(1, 999))
        ->capture_default_str();
    addition->add_option("--on", o.on, "Weekdays: sun,mon,tue,wed,thu,fri,sat, weekday or day; else the start's")
        ->delimiter(',')
        ->check(CLI::IsMember({"sun", "mon", "tue", "wed", "thu", "fri", "sat", "weekday", "day"}));
    addition->add_option("--day", o.day, "monthly, yearly: the day of the month; else the start's")
        ->check(CLI::Range(1, 31));
    addition->add_option("--week", o.week, "monthly, yearly, with --on: first, second, third, fourth or last")
        ->check(CLI::IsMember({"first", "second", "third", "fourth", "last"}));
    addition->add_option("--month", o.month, "yearly: the month; else the start's")->check(CLI::Range(1, 12));
    auto *until = addition->add_option("--until", o.until, "The last day, \"2026-12-31\"; for ever without it");
    addition->add_option("--times", o.times, "So many times")->check(CLI::Range(1, 999))->excludes(until);
    OnCommand(*addition, [&] { AddAppointment(a.common, a.appointment); });
}

void AddMailboxCommands(CLI::App &app, Arguments &a)
{
    auto *list = app.add_subcommand("list", "List a folder's messages");
    list->add_option("--user", a.user, "A user's alias")->required();
    list->add_option("--folder", a.folder, "inbox, outbox, sent, deleted or calendar")
        ->check(CLI::IsMember({"inbox", "outbox", "sent", "deleted", "calendar"}))
        ->capture_default_str();
    OnCommand(*list, [&] { ListFolder(a.common, a.user, a.folder); });

    auto *fill = app.add_subcommand("fill", "Put many messages into an Inbox, for trials and benchmarks");
    fill->add_option("--user", a.fill.user, "A user's alias")->required();
    fill->add_option("--count", a.fill.count, "How many")->required()->check(CLI::Range(1, 100000000));
    fill->add_option("--mix", a.fill.mix, "Kinds, in turn: voicemail, mail, fax; all without it")
        ->delimiter(',')
        ->check(CLI::IsMember({"voicemail", "mail", "fax"}));
    OnCommand(*fill, [&] { FillMailbox(a.common, a.fill); });

    OnCommand(*app.add_subcommand("register", "Windows: make localmapi the default mail client"),
              [&] { RegisterMailClient(a.common); });
    OnCommand(*app.add_subcommand("unregister", "Windows: put the former default mail client back"),
              [&] { UnregisterMailClient(a.common); });
}

void Describe(CLI::App &app, Arguments &arguments)
{
    app.add_option("--file", arguments.common.file,
                   "The site's file; else LOCALMAPI_FILE, the registry's, the default");
    app.add_flag("--json", arguments.common.json, "Print one JSON document");
    AddSiteCommands(app, arguments);
    AddUpkeepCommands(app, arguments);
    AddProfileCommands(app, arguments);
    AddDeliverCommands(app, arguments);
    AddAppointmentCommands(app, arguments);
    AddMailboxCommands(app, arguments);
}

} // namespace

int main(int argc, char **argv)
{
    Arguments arguments;
    return ::tool::RunCommandLine(
        {"localmapi", "localmapi: an Extended MAPI subsystem in one file.",
         LOCALMAPI_VERSION " (SQLite " + localmapi::storage::SqliteVersion() + ")"},
        [&](CLI::App &app) { Describe(app, arguments); }, argc, argv);
}
