#include "localmapi/delivery/Fill.h"
#include "localmapi/delivery/Compose.h"
#include "localmapi/storage/Time.h"
#include <algorithm>
#include <array>
#include <random>

namespace localmapi::delivery
{

namespace
{

constexpr std::uint64_t kBatch = 5000;

constexpr std::array kSenders = {"Ada Lind",     "Boris Novak",  "Chloé Martin", "Dmitri Pavlov", "Eleni Papadaki",
                                 "Farid Haddad", "Grace Kimani", "Hiro Tanaka",  "Inês Costa",    "Jakub Král"};
constexpr std::array kSubjects = {"Figures for the week", "Meeting moved", "Your question", "Offer", "Visit on Friday"};

storage::MessageChanges MessageOf(int kind, std::mt19937_64 &random, const storage::User &user, std::int64_t time)
{
    const std::string name = kSenders[random() % kSenders.size()];
    const Traits traits{random() % 4 == 0, random() % 20 == 0};
    storage::MessageChanges message;
    if (kind == 0) {
        const std::string number = "+1555" + std::to_string(1000000 + random() % 9000000);
        message =
            Compose(Voicemail{{name, "", ""}, number, name, static_cast<std::int32_t>(3 + random() % 120), "", traits},
                    user, time);
    } else if (kind == 1) {
        const std::string subject = kSubjects[random() % kSubjects.size()];
        message = Compose(Mail{{name, "SMTP", "sender" + std::to_string(random() % 1000) + "@elsewhere.example"},
                               "",
                               subject,
                               "Please see below.\r\n",
                               traits},
                          user, time);
    } else {
        message = Compose(Mail{{"Fax", "SMTP", "fax@" + std::to_string(random() % 100) + ".elsewhere.example"},
                               "Fax Server",
                               "Fax received",
                               "",
                               traits},
                          user, time);
    }
    if (random() % 5 < 2)
        message.properties.set.Set(storage::kMessageFlags, storage::kFlagRead);
    return message;
}

} // namespace

void Fill(storage::Site site, const storage::User &user, std::uint64_t count, Mix mix, std::int64_t last,
          const std::function<void(std::uint64_t)> &progress)
{
    const storage::ObjectId inbox = storage::Directory(site).GetMailbox(user.mailbox).inbox;
    storage::Objects objects(site);
    std::vector<int> kinds;
    if (mix.voicemail)
        kinds.push_back(0);
    if (mix.mail)
        kinds.push_back(1);
    if (mix.fax)
        kinds.push_back(2);
    std::mt19937_64 random(count);
    std::vector<storage::NewMessage> batch;
    for (std::uint64_t done = 0; done < count; done += batch.size()) {
        batch.clear();
        for (std::uint64_t i = done; i < std::min(count, done + kBatch); ++i) {
            const std::int64_t time = last - static_cast<std::int64_t>(count - 1 - i) * storage::kTicksPerMinute;
            batch.push_back({inbox, MessageOf(kinds[i % kinds.size()], random, user, time)});
        }
        objects.CreateMessages(batch);
        if (progress)
            progress(done + batch.size());
    }
}

} // namespace localmapi::delivery
