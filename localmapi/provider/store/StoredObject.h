// IMAPIProp of stores, folders, messages and attachments: properties are read by need, long ones as streams, and every
// method holds the object's lock. A class above says how properties are read and where changes go.
#pragma once
#include "localmapi/provider/property/NamedProperties.h"
#include "localmapi/provider/property/PropObject.h"
#include "localmapi/provider/store/CopyObject.h"
#include "localmapi/provider/store/StoreContext.h"
#include "localmapi/provider/stream/Stream.h"

#include "platform/locks/Mutex.h"

namespace localmapi
{

// IMAPIProp::GetProps: the tags that are asked for, or all when there are none, out of a bag that holds them.
HRESULT GivePackedProps(const storage::PropertyBag &bag, const SPropTagArray *tags, ULONG flags, ULONG *count,
                        SPropValue **values);
// The storage's tags behind the client's; nothing when one of them leaves its type open, so that all must be read.
std::optional<std::vector<storage::Tag>> ReadableTags(const SPropTagArray *tags);
// Properties that no client sets on any object of a store: those that follow from what it is, and storage's own.
bool IsComputedEverywhere(storage::Tag tag);

// How a stream on a property is asked for.
struct StreamRequest {
    ULONG tag = 0;
    ULONG flags = 0;
    bool Writes() const { return (flags & (MAPI_MODIFY | MAPI_CREATE)) != 0; }
};

// What the stream code needs of an object.
class StreamHost
{
  public:
    // The property with the tag's id, whatever its type; nothing when there is none.
    virtual std::optional<storage::Property> FindForStream(storage::Tag tag) = 0;
    // Takes the value that a stream ended with. Under no lock.
    virtual void TakeFromStream(storage::Tag tag, storage::Value value) = 0;
    // Failure when the property can not be written.
    virtual void RequireStreamable(storage::Tag tag) = 0;
    virtual storage::Objects &StreamObjects() = 0;
    virtual OpenStreams &StreamsForWriting() = 0;
    virtual const BehaviourPtr &StreamBehaviour() const = 0;

  protected:
    ~StreamHost() = default;
};

// IMAPIProp::OpenProperty for IStream. `owner` is the object of the host. Throws Failure.
void OpenPropertyStream(StreamHost &host, IUnknown *owner, const IID &iid, const StreamRequest &request,
                        IUnknown **stream);
bool IsStreamInterface(const IID &iid);

template <class Interface, class... More> class StoredObject : public PropObject<Interface, More...>, private StreamHost
{
    using Base = PropObject<Interface, More...>;

  public:
    STDMETHODIMP SaveChanges(ULONG flags) override
    {
        return this->Run("IMAPIProp::SaveChanges", [&]() -> HRESULT {
            const HRESULT hr = m_streams.Commit();
            if (FAILED(hr))
                return hr;
            const locks::Hold hold(m_lock);
            RequireFlags(flags, KEEP_OPEN_READONLY | KEEP_OPEN_READWRITE | FORCE_SAVE | MAPI_DEFERRED_ERRORS);
            return Save(flags);
        });
    }
    STDMETHODIMP GetProps(LPSPropTagArray tags, ULONG flags, ULONG *count, LPSPropValue *values) override
    {
        return Do("IMAPIProp::GetProps", [&]() REQUIRES(m_lock) -> HRESULT {
            if (count)
                *count = 0;
            if (values)
                *values = nullptr;
            Require(!tags || (tags->cValues > 0 && tags->cValues <= 0x10000), "the list of properties");
            const auto some = tags ? ReadableTags(tags) : std::nullopt;
            return GivePackedProps(some ? ReadSome(*some) : this->Load(), tags, flags, count, values);
        });
    }
    STDMETHODIMP GetPropList(ULONG flags, LPSPropTagArray *tags) override
    {
        const locks::Hold hold(m_lock);
        return Base::GetPropList(flags, tags);
    }
    STDMETHODIMP SetProps(ULONG count, LPSPropValue values, LPSPropProblemArray *problems) override
    {
        const locks::Hold hold(m_lock);
        return Base::SetProps(count, values, problems);
    }
    STDMETHODIMP DeleteProps(LPSPropTagArray tags, LPSPropProblemArray *problems) override
    {
        const locks::Hold hold(m_lock);
        return Base::DeleteProps(tags, problems);
    }
    STDMETHODIMP OpenProperty(ULONG tag, LPCIID iid, ULONG options, ULONG flags, LPUNKNOWN *object) override
    {
        const locks::Hold hold(m_lock);
        return Base::OpenProperty(tag, iid, options, flags, object);
    }

    STDMETHODIMP CopyTo(ULONG ciidExclude, LPCIID rgiidExclude, LPSPropTagArray lpExcludeProps, ULONG, LPMAPIPROGRESS,
                        LPCIID lpInterface, LPVOID lpDestObj, ULONG ulFlags, LPSPropProblemArray *lppProblems) override
    {
        return this->Run("IMAPIProp::CopyTo", [&]() -> HRESULT {
            RequireSomeInterface<Interface>(ciidExclude, rgiidExclude);
            return CopyAs({true, lpExcludeProps, lpInterface, lpDestObj, ulFlags}, lppProblems);
        });
    }
    STDMETHODIMP CopyProps(LPSPropTagArray lpIncludeProps, ULONG, LPMAPIPROGRESS, LPCIID lpInterface, LPVOID lpDestObj,
                           ULONG ulFlags, LPSPropProblemArray *lppProblems) override
    {
        return this->Run("IMAPIProp::CopyProps", [&]() -> HRESULT {
            return CopyAs({false, lpIncludeProps, lpInterface, lpDestObj, ulFlags}, lppProblems);
        });
    }

    STDMETHODIMP GetIDsFromNames(ULONG cPropNames, LPMAPINAMEID *lppPropNames, ULONG ulFlags,
                                 LPSPropTagArray *lppPropTags) override
    {
        return this->Run("IMAPIProp::GetIDsFromNames", [&] {
            return GiveIdsOfNames(m_store->site, m_store->writable, cPropNames, lppPropNames, ulFlags, lppPropTags);
        });
    }
    STDMETHODIMP GetNamesFromIDs(LPSPropTagArray *lppPropTags, LPGUID lpPropSetGuid, ULONG ulFlags, ULONG *lpcPropNames,
                                 LPMAPINAMEID **lpppPropNames) override
    {
        return this->Run("IMAPIProp::GetNamesFromIDs", [&] {
            return GiveNamesOfIds(m_store->site, lppPropTags, lpPropSetGuid, ulFlags, lpcPropNames, lpppPropNames);
        });
    }

  protected:
    StoredObject(StorePtr store, bool writable) : m_store(std::move(store)), m_writable(writable) {}

    void Enter() override
    {
        if (m_store->behaviour)
            m_store->behaviour->OnObjectCall();
    }

    // Called under the lock; all may throw. What is stored, with the changes on top that are not saved yet: at least
    // the properties with these tags, or everything.
    virtual storage::PropertyBag Stored(const std::vector<storage::Tag> *tags) REQUIRES(m_lock) = 0;
    // Adds what follows from what the object is.
    virtual void AddComputed(storage::PropertyBag &bag) REQUIRES(m_lock) = 0;
    // Both together, as clients see them.
    storage::PropertyBag Load() REQUIRES(m_lock) override { return Computed(Stored(nullptr)); }
    virtual storage::PropertyBag ReadSome(const std::vector<storage::Tag> &tags) REQUIRES(m_lock)
    {
        return Computed(Stored(&tags));
    }
    virtual HRESULT Save(ULONG) REQUIRES(m_lock) { return S_OK; }
    // Takes over what was written to streams that are still open. Called under no lock.
    HRESULT CommitStreams() { return m_streams.Commit(); }
    // The properties that a copy gets: those that a client could have set.
    virtual storage::PropertyBag Copyable() REQUIRES(m_lock)
    {
        storage::PropertyBag bag;
        for (const storage::Property &property : this->Load())
            if (!this->IsComputed(property.tag))
                bag.Set(property.tag, property.value);
        return bag;
    }
    // Called under no lock: the target is asked.
    virtual void Copy(CopyJob &job)
    {
        storage::PropertyBag bag;
        {
            const locks::Hold hold(m_lock);
            bag = Copyable();
        }
        job.CopyProperties(bag, m_store->objects);
        job.Missing(bag, {});
    }

    HRESULT Open(ULONG tag, const IID &iid, ULONG, ULONG flags, IUnknown **object) REQUIRES(m_lock) override
    {
        RequireFlags(flags, MAPI_CREATE | MAPI_MODIFY | MAPI_DEFERRED_ERRORS | STREAM_APPEND);
        OpenPropertyStream(*this, static_cast<Interface *>(this), iid, {tag, flags}, object);
        return S_OK;
    }
    void RequireWrite() const REQUIRES(m_lock)
    {
        if (!m_writable)
            throw Failure(MAPI_E_NO_ACCESS, "The object is open for reading only.");
    }
    // The body of a method, under the lock and behind the boundary.
    template <class Body> HRESULT Do(const char *method, Body &&body)
    {
        return this->Run(method, [&]() -> HRESULT {
            const locks::Hold hold(m_lock);
            return body();
        });
    }
    // The value of one property, of any of these tags; nothing when there is none.
    std::optional<storage::Property> FindProperty(const std::vector<storage::Tag> &tags) REQUIRES(m_lock)
    {
        const storage::PropertyBag bag = ReadSome(tags);
        const storage::Property *found = bag.FindId(storage::TagId(tags.front()));
        return found ? std::optional(*found) : std::nullopt;
    }

    const StorePtr m_store;
    locks::Mutex m_lock;
    bool m_writable GUARDED_BY(m_lock);

  private:
    storage::PropertyBag Computed(storage::PropertyBag bag) REQUIRES(m_lock)
    {
        AddComputed(bag);
        return bag;
    }
    HRESULT CopyAs(const CopyJob::Arguments &arguments, SPropProblemArray **problems)
    {
        if (problems)
            *problems = nullptr;
        CopyJob job(static_cast<Interface *>(this), arguments);
        Copy(job);
        job.GiveProblems(problems);
        return S_OK;
    }
    std::optional<storage::Property> FindForStream(storage::Tag tag) REQUIRES(m_lock) override
    {
        const std::uint16_t id = storage::TagId(tag);
        return FindProperty({tag, storage::MakeTag(id, storage::Type::Binary),
                             storage::MakeTag(id, storage::Type::Object), storage::MakeTag(id, storage::Type::Text)});
    }
    void TakeFromStream(storage::Tag tag, storage::Value value) override
    {
        const locks::Hold hold(m_lock);
        RequireWrite();
        this->Change({{tag, std::move(value)}}, {});
    }
    void RequireStreamable(storage::Tag tag) REQUIRES(m_lock) override
    {
        RequireWrite();
        if (this->IsComputed(tag))
            throw Failure(MAPI_E_COMPUTED, "The property is computed and can not be changed.");
    }
    storage::Objects &StreamObjects() override { return m_store->objects; }
    OpenStreams &StreamsForWriting() override { return m_streams; }
    const BehaviourPtr &StreamBehaviour() const override { return m_store->behaviour; }

    OpenStreams m_streams;
};

} // namespace localmapi
