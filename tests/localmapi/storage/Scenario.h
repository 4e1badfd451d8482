// A day in the life of a site, step by step, each step one transaction; and the state of a site as text, to compare.
#pragma once
#include "Fixture.h"
#include <random>

namespace localmapi::storage
{

// A site with a user and some messages in it, for the steps to begin with.
void MakeScenarioSite(const std::string &path);

using Step = std::function<void(Site)>;
const std::vector<Step> &ScenarioSteps();

// A step of a kind and with contents by chance, for a site that has a user "bob" too: one transaction, or nothing where
// there is nothing to do it with.
Step RandomStep(std::mt19937 &random);

// Everything in the site but times and numbers of changes.
std::string StateOf(Site site);

} // namespace localmapi::storage
