#pragma once

namespace borvik {

/// What may stand in a block: characters of two bytes at most, of three, of four. With pairs, the
/// last becomes a pair of surrogates, and three bytes that would make a surrogate are ill-formed.
enum class Longest { kTwo, kThree, kThreeButSurrogates, kFour };

}  // namespace borvik
