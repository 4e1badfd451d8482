// What the library knows, process-wide, of the fax server product whose faxes lie among a mailbox's mail. What it has
// learned to call the product is each session's own.
#pragma once
#include <atomic>

// The mail domain of the fax product's sender addresses, in lower case, beginning with its at sign. A message whose
// sender address contains it is a fax.
inline constexpr char FaxDomainSuffix[] = "@fax.norvik.example";

// Set once a message of the fax product has been seen by a summary listing of any session; never cleared.
inline std::atomic<bool> FaxServerSeen{false};
