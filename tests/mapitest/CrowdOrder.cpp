// The search: all states that may hold at a moment, each with the steps under way that took effect already. At the end
// of a step only those remain in which it did.
#include "CrowdOrder.h"
#include <algorithm>
#include <set>

namespace mapitest
{

namespace
{

struct Possibility {
    CrowdState state;
    std::set<std::size_t> done; // of the steps under way
    std::string Key() const
    {
        std::string key = state.Key() + '#';
        for (const std::size_t step : done)
            key += std::to_string(step) + ' ';
        return key;
    }
};
using Possibilities = std::map<std::string, Possibility>;

class Search
{
  public:
    explicit Search(const std::vector<Step> &steps, CrowdState from) : m_steps(steps)
    {
        Possibility first{std::move(from), {}};
        m_possible.emplace(first.Key(), first);
    }

    // The index of the step at whose end nothing remains.
    std::optional<std::size_t> Run()
    {
        struct Moment {
            std::int64_t time;
            bool ends;
            std::size_t step;
        };
        std::vector<Moment> moments;
        for (std::size_t i = 0; i < m_steps.size(); ++i) {
            moments.push_back({m_steps[i].began, false, i});
            moments.push_back({m_steps[i].ended, true, i});
        }
        std::sort(moments.begin(), moments.end(), [](const Moment &left, const Moment &right) {
            return left.time != right.time ? left.time < right.time : left.ends < right.ends;
        });
        for (const Moment &moment : moments) {
            if (!moment.ends) {
                if (m_underWay.empty() && m_possible.size() == 1)
                    m_quiet = {moment.step, m_possible.begin()->second.state, moment.time};
                m_underWay.insert(moment.step);
                continue;
            }
            End(moment.step);
            if (m_possible.empty())
                return moment.step;
            m_underWay.erase(moment.step);
        }
        return {};
    }

    struct Quiet {
        std::size_t step = 0;
        CrowdState state;
        std::int64_t time = 0;
    };
    const Quiet &LastQuiet() const { return m_quiet; }

  private:
    void End(std::size_t ended)
    {
        m_after.clear();
        m_seen.clear();
        for (const auto &[key, possibility] : m_possible) {
            // Nobody heard of it: it may never have happened.
            if (!m_steps[ended].answered && !possibility.done.count(ended))
                Keep(possibility);
            Try(possibility, ended);
        }
        m_possible = std::move(m_after);
    }

    void Keep(const Possibility &possibility) { m_after.emplace(possibility.Key(), possibility); }

    void Try(const Possibility &possibility, std::size_t ended)
    {
        if (!m_seen.insert(possibility.Key()).second)
            return;
        if (possibility.done.count(ended)) {
            Possibility kept = possibility;
            kept.done.erase(ended);
            return Keep(kept);
        }
        for (const std::size_t step : m_underWay) {
            if (possibility.done.count(step))
                continue;
            Possibility next = possibility;
            if (!next.state.Apply(m_steps[step]))
                continue;
            next.done.insert(step);
            Try(next, ended);
        }
    }

    const std::vector<Step> &m_steps;
    Possibilities m_possible;
    Possibilities m_after;
    std::set<std::string> m_seen;
    std::set<std::size_t> m_underWay;
    Quiet m_quiet;
};

bool Fits(const std::vector<Step> &steps, const CrowdState &from)
{
    return !Search(steps, from).Run();
}

std::vector<Step> Without(std::vector<Step> steps, std::size_t which)
{
    steps.erase(steps.begin() + static_cast<std::ptrdiff_t>(which));
    return steps;
}

} // namespace

std::optional<Disorder> FindDisorder(std::vector<Step> steps)
{
    Search search(steps, {});
    const auto failed = search.Run();
    if (!failed)
        return {};
    Disorder disorder{search.LastQuiet().state, {}, 0};
    const std::int64_t until = steps[*failed].ended;
    for (std::size_t i = 0; i < steps.size(); ++i) {
        if (steps[i].began < search.LastQuiet().time || steps[i].began > until)
            continue;
        if (i == *failed)
            disorder.culprit = disorder.steps.size();
        disorder.steps.push_back(steps[i]);
    }
    return disorder;
}

namespace
{

// The messages that a step is about, given what each thread has open.
std::set<std::int64_t> MessagesOf(const Step &step, const std::map<int, std::int64_t> &open)
{
    using Kind = Step::Kind;
    std::set<std::int64_t> messages(step.ids.begin(), step.ids.end());
    if (step.id)
        messages.insert(step.id);
    for (const SeenRow &row : step.rows)
        if (row.id)
            messages.insert(row.id);
    const bool onOpen = step.kind == Kind::Get || step.kind == Kind::Save || step.kind == Kind::Mark;
    if (const auto found = open.find(step.thread); onOpen && found != open.end())
        messages.insert(found->second);
    return messages;
}

// A folder that nobody reads, for what becomes of copies.
constexpr int kElsewhere = -1;

// Who made the message, or else the first who saw it.
const Step *WitnessOf(const std::vector<Step> &steps, std::int64_t message)
{
    const Step *witness = nullptr;
    for (const Step &step : steps) {
        const bool sees =
            std::any_of(step.rows.begin(), step.rows.end(), [&](const SeenRow &row) { return row.id == message; });
        if (step.kind == Step::Kind::Create && step.id == message)
            return &step;
        if (sees && (!witness || step.ended < witness->ended))
            witness = &step;
    }
    return witness;
}

std::int64_t BirthOf(const std::vector<Step> &steps, std::int64_t message)
{
    const Step *witness = WitnessOf(steps, message);
    return witness ? witness->began : 0;
}

// A message that came from elsewhere is there as it was seen first.
CrowdState BeforeOf(const std::vector<Step> &steps, std::int64_t message)
{
    CrowdState before;
    if (const Step *witness = WitnessOf(steps, message))
        for (const SeenRow &row : witness->rows)
            if (row.id == message)
                before.Put(witness->folder, row);
    return before;
}

// Without the steps on other messages. Which message has which number is learned from rows, so those stay.
void Project(Disorder &disorder)
{
    std::map<int, std::int64_t> open;
    std::vector<std::set<std::int64_t>> about;
    std::vector<std::size_t> order(disorder.steps.size());
    for (std::size_t i = 0; i < order.size(); ++i)
        order[i] = i;
    std::sort(order.begin(), order.end(), [&](std::size_t left, std::size_t right) {
        return disorder.steps[left].began < disorder.steps[right].began;
    });
    about.resize(order.size());
    for (const std::size_t i : order) {
        const Step &step = disorder.steps[i];
        if (step.kind == Step::Kind::Open)
            open[step.thread] = step.ids.front();
        about[i] = MessagesOf(step, open);
    }
    const std::set<std::int64_t> &wanted = about[disorder.culprit];
    if (wanted.size() != 1)
        return; // it is about the folder
    const std::int64_t only = *wanted.begin();
    Disorder projected{BeforeOf(disorder.steps, only), {}, 0};
    const std::int64_t from = BirthOf(disorder.steps, only);
    for (std::size_t i = 0; i < disorder.steps.size(); ++i) {
        Step step = disorder.steps[i];
        const bool concerns = about[i].count(only) || step.kind == Step::Kind::AllRead;
        if (i != disorder.culprit && (!concerns || step.kind == Step::Kind::Copy || step.ended < from))
            continue;
        if (i == disorder.culprit)
            projected.culprit = projected.steps.size();
        if (step.kind == Step::Kind::Copy || step.kind == Step::Kind::Move)
            step.to = kElsewhere;
        std::erase_if(step.rows, [&](const SeenRow &row) { return row.id && row.id != only; });
        std::erase_if(step.ids, [&](std::int64_t id) { return id != only; });
        projected.steps.push_back(std::move(step));
    }
    if (!Fits(projected.steps, projected.before) && Fits(Without(projected.steps, projected.culprit), projected.before))
        disorder = std::move(projected);
}

} // namespace

Disorder Shrink(Disorder disorder)
{
    Project(disorder);
    for (bool shorter = true; shorter;) {
        shorter = false;
        for (std::size_t i = 0; i < disorder.steps.size(); ++i) {
            const Step::Kind kind = disorder.steps[i].kind;
            const bool reads = kind == Step::Kind::Rows || kind == Step::Kind::Count || kind == Step::Kind::Get;
            if (i == disorder.culprit || !reads)
                continue;
            const auto fewer = Without(disorder.steps, i);
            const std::size_t culprit = disorder.culprit - (i < disorder.culprit);
            if (Fits(fewer, disorder.before) || !Fits(Without(fewer, culprit), disorder.before))
                continue;
            disorder.steps = fewer;
            disorder.culprit = culprit;
            shorter = true;
            --i;
        }
    }
    return disorder;
}

} // namespace mapitest
