// A day in the life of a site, step by step, each step one transaction; and the state of a site as text, to compare.
#pragma once
#include "Fixture.h"

namespace localmapi::storage
{

// A site with a user and some messages in it, for the steps to begin with.
void MakeScenarioSite(const std::string &path);

using Step = std::function<void(Site)>;
const std::vector<Step> &ScenarioSteps();

// Everything in the site but times and numbers of changes.
std::string StateOf(Site site);

} // namespace localmapi::storage
