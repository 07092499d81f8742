#pragma once

#include <tests/graph/model/Pair.h>

#include <cstddef>
#include <functional>
#include <string>

namespace twins {

using TakeStep = std::function<Taken(Pair& pair, const Words& words)>;

/// Takes sequences of steps that are made up, each step with so many words. When model and library disagree it makes
/// the sequence shorter for as long as they do, prints what is left as a list that
/// `Model.AgreesAfterCallsThatOnceWentWrong` takes, and answers false.
bool sequencesAgree(std::size_t wordsOfAStep, const std::string& prefix, const TakeStep& take);

}  // namespace twins
