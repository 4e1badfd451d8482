// IMAPIProp::CopyTo and CopyProps: what is to be copied, and writing it to the target. The target is any MAPI object,
// also of another provider: it is written through its interface, so that nothing is there for good before its own
// SaveChanges, and under no lock of the source.
#pragma once
#include "localmapi/provider/base/ComObject.h"
#include "localmapi/provider/property/PropObject.h"
#include "localmapi/storage/Objects.h"

#include <map>
#include <set>

namespace localmapi
{

// The arguments of CopyTo (everything but `tags`) or CopyProps (just `tags`). Its functions throw Failure.
class CopyJob
{
  public:
    struct Arguments {
        bool everything = true;
        const SPropTagArray *tags = nullptr;
        LPCIID iid = nullptr;
        void *target = nullptr;
        ULONG flags = 0;
    };
    // MAPI_E_NO_ACCESS when the target is the source itself.
    CopyJob(IUnknown *source, const Arguments &arguments);

    bool Wants(ULONG tag) const { return m_everything != (m_ids.count(static_cast<std::uint16_t>(PROP_ID(tag))) != 0); }
    bool Replaces() const { return !(m_flags & MAPI_NOREPLACE); }
    ULONG Flags() const { return m_flags; }
    IMAPIProp *Target() const { return m_target.get(); }
    // The target as what it may be; null when it is something else.
    template <class Interface> ComPtr<Interface> TargetAs(const IID &iid) const
    {
        ComPtr<Interface> object;
        m_target->QueryInterface(iid, reinterpret_cast<void **>(object.put()));
        return object;
    }

    // Copies those of the properties that are wanted; long ones, which are read from `objects`, in pieces. What the
    // target does not take becomes a problem; what it makes itself does so only where it was asked for by name.
    void CopyProperties(const storage::PropertyBag &bag, storage::Objects &objects);
    // CopyProps: tags that the source does not have.
    void Missing(const storage::PropertyBag &bag, const std::set<std::uint16_t> &parts);
    void GiveProblems(SPropProblemArray **problems) const { m_problems.Give(problems); }

  private:
    // Finds the target's identifiers of the source's named properties, where the two count them differently.
    void MapNames(const std::vector<std::uint16_t> &ids);
    // The tag of a property in the target; 0 when it has none there.
    ULONG TargetTag(storage::Tag tag) const;
    void CopyShort(const std::vector<const storage::Property *> &properties);
    void CopyLong(const storage::Property &property, storage::Objects &objects);
    void Problem(ULONG tag, SCODE code);

    bool m_everything;
    std::vector<ULONG> m_tags; // as they were given
    std::set<std::uint16_t> m_ids;
    std::map<std::uint16_t, std::uint16_t> m_names; // identifiers in the source and in the target, where they differ
    ULONG m_flags;
    ComPtr<IMAPIProp> m_source;
    ComPtr<IMAPIProp> m_target;
    Problems m_problems;
};

// Failure(MAPI_E_INTERFACE_NOT_SUPPORTED) when the interfaces that are not to be used leave none.
template <class Interface> void RequireSomeInterface(ULONG count, LPCIID excluded)
{
    Require(count == 0 || excluded != nullptr, "the interfaces to be left out");
    for (ULONG i = 0; i < count; ++i)
        if (excluded[i] != IID_IUnknown && Implements<Interface>(&excluded[i]))
            throw Failure(MAPI_E_INTERFACE_NOT_SUPPORTED, "No interface is left to copy by.");
}

} // namespace localmapi
