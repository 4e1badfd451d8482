// One list of the properties that make up a message's header: the column set of the listing, the property list of
// the single message, and the decoding of both.
#pragma once
#include "messages/listing/Header.h"
#include <mapix.h>
#include <optional>

// What a summary listing learns of the fax product from a row.
struct LearnedFax {
    bool bServerSeen = false;
    std::optional<tstring> strCreatorName;
};

// The tags, all text narrow, in the order in which they are asked for.
LPSPropTagArray HeaderTags();

// A row of the listing: offset is copied to ulMsgReceived too, until a value of its own overwrites it. learned is
// null where nothing is to be learned.
void HeaderFromRow(const SPropValue *values, ULONG cValues, LearnedFax *learned, Header &header);

// A message on its own: nothing is learned, and offset is offset alone.
void HeaderFromMessage(const SPropValue *values, ULONG cValues, Header &header);
