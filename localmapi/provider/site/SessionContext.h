// What a session and the objects opened through it share.
#pragma once
#include "localmapi/provider/base/Behaviour.h"
#include "localmapi/provider/base/EntryId.h"
#include "localmapi/provider/site/Profile.h"
#include "localmapi/storage/Directory.h"

#include <atomic>
#include <memory>

namespace localmapi
{

struct SessionContext {
    // The site of the mailboxes and of the directory; the profile may lie in another one.
    std::shared_ptr<storage::Site> site;
    SiteUid uid{};
    std::shared_ptr<Profile> profile;
    storage::User user;
    BehaviourPtr behaviour;
    std::atomic<bool> loggedOff{false};

    // At the beginning of each call on what has no store behind it.
    void OnCall() const
    {
        if (behaviour)
            behaviour->OnSessionCall();
    }
};

using Session = std::shared_ptr<SessionContext>;

} // namespace localmapi
