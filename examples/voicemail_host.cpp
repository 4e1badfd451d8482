// The voicemail host of voicemail_host.c in C++: voicemail_host_cpp PROFILE MAILBOX FOLDER.
#include "OrlMapi32.hpp"
#include <cstring>
#include <iostream>

namespace
{

int Handle(const orlmapi::Mailbox &mailbox, const EmailHeaderA &header, const std::string &folder, int saved)
{
    std::cout << "  from " << header.pszName << ' ' << header.pszNumber << ", " << header.lSecs << " s\n";
    for (ULONG i = 0; i < header.cAttachments; ++i) {
        const AttachmentInfoA &attachment = header.pAttachments[i];
        const bool compressed = std::strcmp(attachment.pszMimeTag, "audio/x-ms-wma") == 0;
        const std::string file = folder + '/' + std::to_string(saved + 1) + (compressed ? ".wma" : ".wav");
        mailbox.Save(header, attachment.ulAttachNum, file);
        std::cout << "    saved " << file << '\n';
        ++saved;
    }
    mailbox.MarkRead(header);
    mailbox.Delete(header);
    std::cout << "    marked read and deleted\n";
    return saved;
}

} // namespace

int main(int argc, char **argv)
{
    if (argc != 4) {
        std::cerr << "usage: voicemail_host_cpp PROFILE MAILBOX FOLDER\n";
        return 2;
    }
    try {
        const orlmapi::Connection connection;
        connection.Connect(argv[1]);
        const orlmapi::Mailbox mailbox = connection.Open(argv[2]);
        orlmapi::Filter urgent;
        urgent.urgent = true;
        int saved = 0;
        for (const EmailHeaderA &header : mailbox.List(urgent))
            saved = Handle(mailbox, header, argv[3], saved);
        std::cout << saved << " recordings saved\n";
    } catch (const orlmapi::Error &error) {
        std::cerr << "voicemail_host_cpp: " << error.what() << '\n';
        return 1;
    }
}
