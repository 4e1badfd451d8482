#include "localmapi/provider/site/ProfileSection.h"
#include "localmapi/provider/property/PropObject.h"
#include "localmapi/provider/site/ProfileTags.h"

namespace localmapi
{

namespace
{

class Section final : public PropObject<IProfSect>
{
  public:
    Section(std::shared_ptr<Profile> profile, const storage::Guid &uid, bool writable)
        : m_profile(std::move(profile)), m_uid(uid), m_writable(writable)
    {
    }

  protected:
    storage::PropertyBag Load() override
    {
        storage::PropertyBag bag = m_profile->Section(m_uid).value_or(storage::PropertyBag{});
        bag.Set(PR_OBJECT_TYPE, std::int32_t{MAPI_PROFSECT});
        return bag;
    }
    void Change(const storage::PropertyBag &set, const std::vector<storage::Tag> &remove) override
    {
        if (!m_writable)
            return PropObject::Change(set, remove);
        m_profile->ChangeSection(m_uid, set, remove);
    }
    bool IsComputed(storage::Tag tag) override
    {
        if (PROP_ID(tag) == PROP_ID(PR_OBJECT_TYPE))
            return true;
        if (m_uid == GuidOf(kGlobalProfileSection))
            return PROP_ID(tag) == PROP_ID(PR_PROFILE_NAME);
        return m_uid == GuidOf(kProfileInstance) && PROP_ID(tag) == PROP_ID(PR_SEARCH_KEY);
    }

  private:
    const std::shared_ptr<Profile> m_profile;
    const storage::Guid m_uid;
    const bool m_writable;
};

} // namespace

HRESULT OpenSection(const std::shared_ptr<Profile> &profile, const MAPIUID *uid, LPCIID iid, ULONG flags,
                    IProfSect **section)
{
    Require(section != nullptr, "where the profile section goes");
    *section = nullptr;
    RequireFlags(flags, MAPI_MODIFY | MAPI_DEFERRED_ERRORS | MAPI_BEST_ACCESS);
    if (!Implements<IProfSect>(iid))
        return MAPI_E_INTERFACE_NOT_SUPPORTED;
    const storage::Guid guid = GuidOf(uid ? *uid : kGlobalProfileSection);
    const bool writable = (flags & (MAPI_MODIFY | MAPI_BEST_ACCESS)) != 0;
    if (!profile->Section(guid) && !(flags & MAPI_MODIFY))
        throw Failure(MAPI_E_NOT_FOUND, "The profile has no section with this identifier.");
    *section = MakeObject<Section>(profile, guid, writable).release();
    return S_OK;
}

} // namespace localmapi
