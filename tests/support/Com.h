// What every fake object is: named, counted, and answering each call through one frame that records it and looks
// up what it was told.
#pragma once
#include "support/Recorder.h"
#include "support/Script.h"
#include <initializer_list>
#include <mapiutil.h>
#include <mapix.h>

namespace mapi_double
{

Recorder &TheRecorder();
Script &TheScript();

// Something that no caller of MAPI may do; the running test fails with it.
void Misuse(const std::string &what);
std::vector<std::string> TakeMisuses();

class Tracked
{
  public:
    Tracked(const char *kind, std::string instance);
    Tracked(const Tracked &) = delete;
    Tracked &operator=(const Tracked &) = delete;
    virtual ~Tracked();

    const std::string &Kind() const { return m_kind; }
    const std::string &Name() const { return m_name; }         // "Table(stores)", "Session"
    const std::string &Instance() const { return m_instance; } // "stores"

  protected:
    void Register(const void *interfacePointer);
    ULONG Referenced();
    ULONG Unreferenced(); // deletes with the last reference

  private:
    std::string m_kind;
    std::string m_instance;
    std::string m_name;
    const void *m_pointer = nullptr;
    ULONG m_references = 1;
};

std::vector<std::string> LiveObjects();
void ForgetLiveObjects();
// The name of the object behind an interface pointer: "NULL" for none, "?" for one that is not the double's.
std::string ObjectName(const void *interfacePointer);
Tracked *ObjectAt(const void *interfacePointer);

// One call in progress: recorded, then held under the double's lock until it returns.
class Call
{
  public:
    enum Weight { Fallible, Infallible };
    Call(const Tracked &object, const char *method, std::initializer_list<std::string> arguments,
         Weight weight = Fallible);
    Call(const char *function, std::initializer_list<std::string> arguments,
         mapi_double::Kind kind = mapi_double::Kind::Conversation, Weight weight = Fallible);
    Call(const Call &) = delete;
    Call &operator=(const Call &) = delete;
    ~Call();

    // Whether the call does its work: not when it was told to fail.
    bool Proceed() const;
    // Whether it was told to hand back nothing.
    bool GivesNull() const { return m_answer.withoutOutput; }
    // The result: what it was told, else its own.
    HRESULT Return(HRESULT own);

    // The whole of a method that hands out one object.
    template <class Interface, class Make> HRESULT Give(Interface **out, Make make)
    {
        if (!Proceed())
            return Return(E_FAIL);
        if (!out)
            return Return(E_INVALIDARG);
        *out = GivesNull() ? nullptr : make();
        return Return(S_OK);
    }

  private:
    void Begin(Record record, Weight weight);

    std::shared_ptr<Record> m_record;
    Answer m_answer;
};

HRESULT GiveLastError(const Tracked &object, HRESULT hr, ULONG flags, LPMAPIERROR *error);
// A method that the code under test has no business to call.
HRESULT Unexpected(const Tracked &object, const char *method);
#define NOT_CALLED(method, parameters)                                                                                 \
    STDMETHODIMP method parameters override                                                                            \
    {                                                                                                                  \
        return ::mapi_double::Unexpected(*this, #method);                                                              \
    }

// A COM object with one interface; Answers() tells which identifiers it answers to.
template <class Interface> class ComObject : public Interface, public Tracked
{
  public:
    ComObject(const char *kind, std::string instance) : Tracked(kind, std::move(instance))
    {
        Register(static_cast<Interface *>(this));
    }

    STDMETHODIMP QueryInterface(REFIID riid, void **ppv) override
    {
        Call call(*this, "QueryInterface", {InterfaceName(riid)});
        if (!call.Proceed())
            return call.Return(E_NOINTERFACE);
        *ppv = nullptr;
        if (call.GivesNull())
            return call.Return(S_OK);
        *ppv = Answers(riid);
        return call.Return(*ppv ? S_OK : E_NOINTERFACE);
    }
    STDMETHODIMP_(ULONG) AddRef() override { return Referenced(); }
    STDMETHODIMP_(ULONG) Release() override { return Unreferenced(); }

  protected:
    // The interface asked for with a reference of its own, or null.
    virtual void *Answers(REFIID riid)
    {
        if (riid != IID_IUnknown && !IsOwnInterface(riid))
            return nullptr;
        AddRef();
        return static_cast<Interface *>(this);
    }
    virtual bool IsOwnInterface(REFIID riid) const = 0;

  private:
    static std::string InterfaceName(REFIID riid);
};

std::string InterfaceText(REFIID riid);
template <class Interface> std::string ComObject<Interface>::InterfaceName(REFIID riid)
{
    return InterfaceText(riid);
}

} // namespace mapi_double
