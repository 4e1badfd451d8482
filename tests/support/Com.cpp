// The lists of live objects and of misuses, and the frame of a call: recorded, given its answer, and under the
// double's lock to its end.
#include "support/Com.h"
#include "support/Memory.h"
#include "support/Print.h"
#include <cstring>
#include <map>

namespace mapi_double
{

namespace
{

// Never destroyed: a thread of the code under test may outlive main's statics.
std::map<const void *, Tracked *> &Objects()
{
    static auto *objects = new std::map<const void *, Tracked *>;
    return *objects;
}

std::vector<std::string> &Misuses()
{
    static auto *misuses = new std::vector<std::string>;
    return *misuses;
}

} // namespace

Recorder &TheRecorder()
{
    static auto *recorder = new Recorder;
    return *recorder;
}

Script &TheScript()
{
    static auto *script = new Script;
    return *script;
}

void Misuse(const std::string &what)
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    Misuses().push_back(what);
}

std::vector<std::string> TakeMisuses()
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    return std::move(Misuses());
}

Tracked::Tracked(const char *kind, std::string instance)
    : m_kind(kind), m_instance(std::move(instance)),
      m_name(m_instance.empty() ? m_kind : m_kind + "(" + m_instance + ")")
{
}

Tracked::~Tracked()
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    Objects().erase(m_pointer);
}

void Tracked::Register(const void *interfacePointer)
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    m_pointer = interfacePointer;
    Objects()[interfacePointer] = this;
}

ULONG Tracked::Referenced()
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    return ++m_references;
}

ULONG Tracked::Unreferenced()
{
    std::unique_lock<std::recursive_mutex> lock(Mutex());
    const ULONG left = --m_references;
    if (left == 0) {
        Record record;
        record.kind = mapi_double::Kind::Release;
        record.object = m_name;
        record.kindOfObject = m_kind;
        record.method = "Release";
        TheRecorder().Add(std::move(record));
        delete this;
    }
    return left;
}

std::vector<std::string> LiveObjects()
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    std::vector<std::string> result;
    for (const auto &[pointer, object] : Objects())
        result.push_back(object->Name());
    return result;
}

void ForgetLiveObjects()
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    Objects().clear();
}

Tracked *ObjectAt(const void *interfacePointer)
{
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    const auto found = Objects().find(interfacePointer);
    return found == Objects().end() ? nullptr : found->second;
}

std::string ObjectName(const void *interfacePointer)
{
    if (!interfacePointer)
        return "NULL";
    std::lock_guard<std::recursive_mutex> lock(Mutex());
    const Tracked *object = ObjectAt(interfacePointer);
    return object ? object->Name() : "?";
}

Call::Call(const Tracked &object, const char *method, std::initializer_list<std::string> arguments, Weight weight)
{
    Record record;
    record.object = object.Name();
    record.kindOfObject = object.Kind();
    record.method = method;
    record.arguments = Joined(arguments);
    Begin(std::move(record), weight);
}

Call::Call(const char *function, std::initializer_list<std::string> arguments, mapi_double::Kind kind, Weight weight)
{
    Record record;
    record.kind = kind;
    record.method = function;
    record.arguments = Joined(arguments);
    Begin(std::move(record), weight);
}

void Call::Begin(Record record, Weight weight)
{
    m_record = TheRecorder().Add(std::move(record));
    m_answer = TheScript().Consult(*m_record, weight == Fallible);
    if (m_answer.meanwhile)
        m_answer.meanwhile();
    Mutex().lock();
}

Call::~Call()
{
    Mutex().unlock();
}

bool Call::Proceed() const
{
    return !m_answer.hr || SUCCEEDED(*m_answer.hr) || m_answer.withOutput;
}

HRESULT Call::Return(HRESULT own)
{
    m_record->result = m_answer.hr.value_or(own);
    return m_record->result;
}

HRESULT GiveLastError(const Tracked &object, HRESULT hr, ULONG flags, LPMAPIERROR *error)
{
    Call call(object, "GetLastError", {Result(hr), Hex(flags)}, Call::Infallible);
    if (!call.Proceed())
        return call.Return(E_FAIL);
    *error = nullptr;
    const ExtendedError *told = TheScript().LastErrorOf(object.Name(), object.Kind());
    if (!told || call.GivesNull())
        return call.Return(S_OK);
    auto *record = static_cast<MAPIERROR *>(NewRoot("error record of " + object.Name(), sizeof(MAPIERROR)));
    const auto copied = [record](const char *text) -> char * {
        if (!text)
            return nullptr;
        const size_t size = std::strlen(text) + 1;
        return static_cast<char *>(std::memcpy(NewChild(record, static_cast<ULONG>(size)), text, size));
    };
    record->ulVersion = MAPI_ERROR_VERSION;
    record->lpszError = reinterpret_cast<decltype(record->lpszError)>(copied(told->error));
    record->lpszComponent = reinterpret_cast<decltype(record->lpszComponent)>(copied(told->component));
    record->ulLowLevelError = 4711; // never to be seen in a trace line
    record->ulContext = told->context;
    *error = record;
    return call.Return(S_OK);
}

HRESULT Unexpected(const Tracked &object, const char *method)
{
    Call call(object, method, {"..."});
    Misuse("an unexpected call of " + object.Name() + "." + method);
    return call.Return(MAPI_E_NO_SUPPORT);
}

std::string InterfaceText(REFIID riid)
{
    return Interface(&riid);
}

} // namespace mapi_double
