#include "Sweep.h"
#include "localmapi/storage/Backup.h"
#include <new>

namespace localmapi::storage
{

namespace
{

// What came of it. Nothing: it was done, whether or not something failed on the way.
std::optional<std::string> FailureOf(const std::function<void()> &work)
{
    try {
        work();
        return {};
    } catch (const std::bad_alloc &) {
        return "no memory";
    } catch (const Error &error) {
        return FaultName(error.GetFault());
    }
}

class Steps
{
  public:
    Steps(const Folder &folder, const Sweep &sweep)
        : m_path(folder.File("swept.db")), m_kept(folder.File("kept.db")), m_sweep(sweep)
    {
        MakeScenarioSite(m_path);
        Open();
    }
    void Take(std::size_t i, SweepResult &result)
    {
        const std::string before = StateOf(*m_site);
        std::filesystem::remove(PathOf(m_kept));
        Backup(*m_site, m_kept);
        for (std::size_t n = 1 + (i + m_sweep.from) % m_sweep.every;; n += m_sweep.every) {
            SCOPED_TRACE("chance " + std::to_string(n) + " of step " + std::to_string(i));
            if (m_sweep.reopens)
                Open();
            bool struck = false;
            const auto failure = FailureOf([&] {
                struck = true; // where it ends by an exception
                struck = m_sweep.attempt(n, [&] { ScenarioSteps()[i](*m_site); });
            });
            if (failure) {
                ASSERT_EQ(*failure, m_sweep.failure);
                ASSERT_EQ(StateOf(*m_site), before);
                ++result.failures;
                continue;
            }
            ASSERT_NE(StateOf(*m_site), before);
            if (!struck)
                break;
            ++result.survived;
            m_site.reset();
            std::filesystem::remove(PathOf(m_path));
            std::filesystem::copy_file(PathOf(m_kept), PathOf(m_path));
            Open();
        }
        for (const Finding &finding : Check(*m_site, false))
            ADD_FAILURE() << finding.text << " after step " << i;
    }

  private:
    void Open()
    {
        m_site.reset();
        m_site = Site::Open(m_path);
    }

    std::string m_path, m_kept;
    const Sweep &m_sweep;
    std::optional<Site> m_site;
};

} // namespace

SweepResult SweepSteps(const Folder &folder, const Sweep &sweep)
{
    SweepResult result;
    Steps steps(folder, sweep);
    for (std::size_t i = 0; i < ScenarioSteps().size() && !testing::Test::HasFailure(); ++i)
        steps.Take(i, result);
    return result;
}

} // namespace localmapi::storage
