// A result of an export: one MAPIAllocateBuffer root that holds the records, every text and byte block a
// MAPIAllocateMore child of it. Freed whole unless handed over.
#pragma once
#include "api/TextFlavour.h"
#include "common/base/Owners.h"
#include "common/errors/errors.h"
#include <vector>

template <class Record> class ResultBlock
{
  public:
    // Allocates `count` records, which are not initialised. Look at Result() before filling them.
    ResultBlock(const Here &here, std::size_t count) : m_here(here)
    {
        const ULONGLONG bytes = ULONGLONG{sizeof(Record)} * count;
        m_hr = bytes > kMostBytes
                   ? E_OUTOFMEMORY
                   : MAPIAllocateBuffer(static_cast<ULONG>(bytes), reinterpret_cast<void **>(m_root.put()));
        if (FAILED(m_hr))
            Report("MAPIAllocateBuffer");
    }

    // The first failure, reported where it happened, or success. After a failure every further child is null.
    HRESULT Result() const { return m_hr; }
    bool Failed() const { return FAILED(m_hr); }
    Record &operator[](std::size_t i) { return m_root.get()[i]; }

    // Children. A record's fields may be unaligned: assign the pointers, take no references.
    template <class Flavour> typename Flavour::Char *Text(const tstring &text)
    {
        auto *child = static_cast<typename Flavour::Char *>(More(Flavour::OutBytes(text)));
        if (child)
            Flavour::Out(child, text);
        return child;
    }
    // The same in as many bytes as the converted text needs.
    template <class Flavour> typename Flavour::Char *ExactText(const tstring &text)
    {
        using Char = typename Flavour::Char;
        const auto &converted = Flavour::Converted(text);
        const std::size_t bytes = (converted.size() + 1) * sizeof(Char);
        auto *child = static_cast<Char *>(More(bytes));
        if (child)
            std::memcpy(child, converted.c_str(), bytes);
        return child;
    }
    BYTE *Bytes(const std::vector<BYTE> &bytes)
    {
        auto *child = static_cast<BYTE *>(More(bytes.size()));
        if (child && !bytes.empty())
            std::memcpy(child, bytes.data(), bytes.size());
        return child;
    }
    // `count` uninitialised elements.
    template <class Child> Child *Array(std::size_t count)
    {
        return static_cast<Child *>(More(ULONGLONG{sizeof(Child)} * count));
    }

    // Hands the block to the caller, who frees it with OrlMapiFreeBuffer.
    Record *Release() { return m_root.release(); }

  private:
    static constexpr ULONGLONG kMostBytes = 0x7FFFFFFF;

    void *More(ULONGLONG bytes)
    {
        if (FAILED(m_hr))
            return nullptr;
        void *child = nullptr;
        m_hr = bytes > kMostBytes ? E_OUTOFMEMORY : MAPIAllocateMore(static_cast<ULONG>(bytes), m_root.get(), &child);
        if (FAILED(m_hr)) {
            Report("MAPIAllocateMore");
            return nullptr;
        }
        return child;
    }
    void Report(const char *szCall) const { TraceHResult(m_here.szFunction, m_here.nLine, m_hr, szCall, nullptr); }

    Here m_here;
    MapiBuffer<Record> m_root;
    HRESULT m_hr = E_FAIL;
};
