#include "Session.h"
#include "Failure.h"
#include "common/CommandLine.h"

EntryId ParseEntryId(const std::string &hex)
{
    if (auto bytes = tool::FromHex(hex))
        return *bytes;
    throw tool::Misuse("\"" + hex + "\" is not an entry ID: an even number of hexadecimal digits is wanted");
}

Connection::Connection()
{
    Check(OrlCreateConnection(&m_handle, 0), "creating a connection");
}

Connection::~Connection()
{
    OrlMapiDisconnect(m_handle);
    OrlCloseConnection(&m_handle);
}

void Connection::LogOn(const LogonOptions &options)
{
    const std::string how = !options.profile.empty()   ? "logging on with the profile " + options.profile
                            : !options.mailbox.empty() ? "logging on to " + options.server + " as " + options.mailbox
                                                       : std::string("logging on with the default profile");
    Check(OrlMapiConnectW(m_handle, tool::ToWide(options.server).c_str(), tool::ToWide(options.mailbox).c_str(),
                          tool::ToWide(options.profile).c_str()),
          how);
}

Mailbox::Mailbox(const LogonOptions &options, const std::string &name)
{
    m_connection.LogOn(options);
    Check(OrlMapiConnectToMailboxW(m_connection.Handle(), &m_mailbox, tool::ToWide(name).c_str()),
          "opening the mailbox " + name);
}

Mailbox::~Mailbox()
{
    OrlMapiDisconnectFromMailbox(m_connection.Handle(), m_mailbox);
}
