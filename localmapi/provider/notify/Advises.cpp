#include "localmapi/provider/notify/Advises.h"
#include "localmapi/provider/base/ErrorText.h"
#include "localmapi/provider/notify/Notifier.h"

#include <limits>

namespace localmapi
{

Advises::Advises(Source source, storage::Site site, storage::Container container)
    : m_source(std::move(source)), m_site(std::move(site)), m_container(container)
{
}

Advises::~Advises() = default;

bool Advises::Any() const
{
    return Notifier::Get().Any(*this);
}

ULONG Advises::Advise(IMAPIAdviseSink *sink, std::int64_t from)
{
    return Notifier::Get().Advise(shared_from_this(), sink, from);
}

bool Advises::Unadvise(ULONG number)
{
    return Notifier::Get().Unadvise(*this, number);
}

void Advises::End() noexcept
{
    Notifier::Get().End(*this);
}

void Advises::Close() noexcept
{
    End();
    const locks::Hold hold(m_collecting);
    m_source = nullptr;
}

std::vector<TableNotice> Advises::Collect(std::int64_t quietUpTo) noexcept
{
    std::vector<TableNotice> notices;
    try {
        const locks::Hold hold(m_collecting);
        if (m_source)
            notices = m_source(quietUpTo);
        m_failed = false;
    } catch (...) {
        // Told once; then tried again until it works.
        Notifier::Get().SetDue(*this);
        notices.clear();
        HRESULT code = MAPI_E_NOT_ENOUGH_MEMORY;
        try {
            code = CurrentFailure().Code();
            if (!m_failed) {
                notices.emplace_back();
                notices.back().entry = std::numeric_limits<std::int64_t>::max();
                notices.back().event = TABLE_ERROR;
                notices.back().result = code;
            }
            m_failed = true;
        } catch (...) {
            notices.clear();
        }
    }
    return notices;
}

void AdviseScope::Add(const std::shared_ptr<Advises> &advises)
{
    const locks::Hold hold(m_lock);
    std::erase_if(m_tables, [](const std::weak_ptr<Advises> &known) { return known.expired(); });
    m_tables.push_back(advises);
}

void AdviseScope::End()
{
    std::vector<std::weak_ptr<Advises>> tables;
    {
        const locks::Hold hold(m_lock);
        tables = m_tables;
    }
    for (const std::weak_ptr<Advises> &known : tables)
        if (const auto advises = known.lock())
            advises->End();
}

} // namespace localmapi
