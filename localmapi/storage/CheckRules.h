// What must hold between the rows of a site: each rule finds what breaks it, and may know how to mend that.
#pragma once
#include "localmapi/storage/Database.h"

namespace localmapi::storage
{

// The numbers that a rule is asked about at once, both ends included.
struct IdRange {
    std::int64_t first, last;
};

struct Rule {
    enum class Over {
        Ids,      // numbers of objects and streams
        Suspects, // as before, and only those that Suspects() names are worth asking about
        Facets,   // numbers of facets
        Site      // asked once
    };
    Over over;
    const char *says;  // "%" stands for what the row is about
    std::string finds; // a statement: the numbers between ?1 and ?2 that break the rule
    // Puts right what one number is about, or a part of it that is small enough for one transaction: then it is called
    // again. Null where nothing brings back what is lost.
    void (*mends)(Writer &writer, std::int64_t about);
};

// In the order in which they are to be mended: each may rely on those before it.
const std::vector<Rule> &Rules();

std::vector<std::int64_t> Broken(Connection &connection, const Rule &rule, IdRange range);
std::string Sentence(const Rule &rule, std::int64_t about);

// A sentence on everything whose data were changed on the disk. Nothing brings them back.
std::vector<std::string> AlteredData(Connection &connection, IdRange range);

// The objects of a range of which object, property and stream rows may not agree. One pass over each table: to ask the
// rules themselves takes several.
std::vector<ObjectId> Suspects(Connection &connection, IdRange range);

} // namespace localmapi::storage
