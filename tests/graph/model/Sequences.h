#pragma once

#include <tests/graph/model/Pair.h>

#include <cstddef>
#include <functional>
#include <memory>

namespace twins {

/// Makes an unused pair.
using MakePair = std::function<std::unique_ptr<Pair>()>;

using TakeStep = std::function<Taken(Pair& pair, const Words& words)>;

enum class Shape {
    Any,
    Large,  ///< Networks of some hundred nodes, which are computed more often than they are wired.
};

/// Takes sequences of steps that are made up, each step with so many words. When model and library disagree it makes
/// the sequence shorter for as long as they do, prints what is left as a list that
/// `Model.AgreesAfterCallsThatOnceWentWrong` takes, and answers false.
bool sequencesAgree(std::size_t wordsOfAStep, const MakePair& make, const TakeStep& take, Shape shape = Shape::Any);

}  // namespace twins
