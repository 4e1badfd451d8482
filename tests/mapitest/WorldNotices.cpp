// What the sinks of a run's tables must be told, and whether they were.
#include "World.h"
#include <algorithm>

namespace mapitest
{

void World::Follow()
{
    for (auto &[tableName, table] : tables) {
        if (!table.sink)
            continue;
        for (const auto &[name, folder] : model.touched) {
            if (folder != table.model.folder)
                continue;
            const Message *message = model.FindMessage(name);
            const bool shows = message && table.model.Shows(*message);
            const bool did = table.copy.shown.count(name) != 0;
            const Bytes key = message ? message->instanceKey : Bytes();
            if (!shows && !did) {
                table.copy.hidden.insert(key);
                continue;
            }
            if (shows) {
                table.copy.shown.insert(name);
                table.copy.keys[name] = key;
                table.copy.owed.insert(key);
            } else {
                table.copy.shown.erase(name);
                table.copy.owed.erase(table.copy.keys[name]);
            }
            table.copy.changes.front().rows.insert(table.copy.keys[name]);
        }
    }
    model.touched.clear();
}

void World::AwaitNotices(OpenTable &table)
{
    TableCopy &copy = table.copy;
    const auto until = std::chrono::steady_clock::now() + m_patience;
    const auto wanted = table.model.Shown(model);
    const bool wasOwed = !copy.owed.empty();
    bool reread = false;
    for (;;) {
        std::string difference;
        if (copy.reread) {
            // As a client does that is told to read the table again.
            copy.rows.clear();
            for (const Message *message : wanted)
                copy.rows.push_back({message->instanceKey, ColumnTexts(*message)});
            copy.reread = false;
            reread = true;
        } else if (!copy.owed.empty()) {
            difference = "of a change nothing was told";
        } else if (copy.rows.size() != wanted.size()) {
            difference =
                "the rows told of are " + std::to_string(copy.rows.size()) + ", not " + std::to_string(wanted.size());
        } else {
            for (std::size_t i = 0; i < wanted.size() && difference.empty(); ++i)
                if (copy.rows[i].columns != ColumnTexts(*wanted[i]))
                    difference = "row " + std::to_string(i) + " was told otherwise";
        }
        if (difference.empty())
            break;
        if (std::chrono::steady_clock::now() >= until)
            throw Deviation("notices: " + difference + "\n" + copy.Text());
        try {
            for (const Event &event : table.sink->Take(until))
                copy.Take(event);
        } catch (const Deviation &) {
            throw;
        } catch (const std::runtime_error &wrong) {
            throw Deviation(std::string("notices: ") + wrong.what());
        }
    }
    copy.loose = reread;
    // What came and went is told whenever somebody looks, so how often it was awaited says nothing. When a later change
    // is told, it has been looked at, and what is still to come of it comes with that.
    if (wasOwed) {
        std::rotate(copy.changes.begin(), copy.changes.end() - 1, copy.changes.end());
        copy.changes.front() = {};
    }
}

std::vector<std::string> World::ColumnTexts(const Message &message) const
{
    std::vector<std::string> texts;
    for (const ULONG tag : Columns()) {
        const Value *value = Find(message.content.properties, tag);
        if (tag == PR_INSTANCE_KEY)
            texts.push_back(TextOf(message.instanceKey));
        else if (tag == PR_ENTRYID)
            texts.push_back(TextOf(message.entryId));
        else if (tag == PR_PARENT_ENTRYID)
            texts.push_back(TextOf(folderIds.at(message.folder)));
        else
            texts.push_back(!value ? "-" : IsLong(*value) ? NameOf(HRESULT{MAPI_E_NOT_ENOUGH_MEMORY}) : TextOf(*value));
    }
    return texts;
}

void World::FillCopy(OpenTable &table)
{
    table.copy = {};
    for (const Message *message : table.model.Shown(model)) {
        table.copy.rows.push_back({message->instanceKey, ColumnTexts(*message)});
        table.copy.shown.insert(message->name);
        table.copy.keys[message->name] = message->instanceKey;
    }
}

} // namespace mapitest
