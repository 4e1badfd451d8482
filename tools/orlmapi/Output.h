// What the commands print: one JSON document, or aligned columns that fit a terminal.
#pragma once
#include "OrlMapi32.h"
#include <nlohmann/json.hpp>
#include <string>

void PrintJson(const nlohmann::ordered_json &document);
void PrintLine(const std::string &line);

// "2026-11-21T08:15:30Z", with milliseconds where there are any; empty where the time is not set.
std::string IsoTime(SYSTEMTIME time);

nlohmann::ordered_json HeaderAsJson(const EmailHeaderW &header);

// A heading, then a line a message and its entry ID in a line of its own.
void PrintHeaderHeading();
void PrintHeader(const EmailHeaderW &header);
