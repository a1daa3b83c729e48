// Where a message handed to an object's OSC entry comes from. Handlers use
// it to tell a user's command from state being replayed:
//  - the generic preset and snapshot messages ("/preset/...",
//    "/snapshot/...") are refused when they come from a preset, a snapshot
//    or an interpolation, so that a preset cannot load itself or a snapshot
//    recall itself, endlessly;
//  - observers receive it with every message taken, so that a window can
//    follow a user's edits and ignore the stream of an interpolation;
//  - OscPresetManager::LoadPreset takes the flag of whoever asked for the
//    load and hands each message of the file on with fromPreset added, so a
//    preset loaded by the object's "initwith" text carries both marks.
//
// A small value type; any thread.
#pragma once

#include <cstdint>

namespace kel {

class MessageFlag
{
public:
    enum Bits : std::uint32_t
    {
        none = 0,
        fromPreset = 1u << 0,          // read from a preset file
        fromSnapshot = 1u << 1,        // recalled from a snapshot in memory
        fromInterpolation = 1u << 2,   // computed between two snapshots
        fromInitialisation = 1u << 3,  // run while the object is being created
    };

    /** A user's message: no mark. */
    constexpr MessageFlag() noexcept = default;
    constexpr MessageFlag(std::uint32_t bitsToSet) noexcept : bits(bitsToSet) {}

    constexpr bool has(std::uint32_t mask) const noexcept { return (bits & mask) != 0; }
    /** This flag with more marks. */
    constexpr MessageFlag with(std::uint32_t mask) const noexcept { return MessageFlag(bits | mask); }
    constexpr std::uint32_t getBits() const noexcept { return bits; }

    /** True for state replayed from a preset, a snapshot or an interpolation. */
    constexpr bool isReplayedState() const noexcept
    {
        return has(fromPreset | fromSnapshot | fromInterpolation);
    }

    constexpr bool operator==(const MessageFlag&) const noexcept = default;

private:
    std::uint32_t bits = none;
};

} // namespace kel
