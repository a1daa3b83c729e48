// The record of an "auvo5.sfplay~" box in Max.
#pragma once

#include "MaxWrapperClassMsp.h"
#include "SfplayListener.h"
#include "dsp/KelAudioFilePlayer.h"

/** The generic MSP binding's fields come first (header, initwith, player,
    mc, input and output counts, windows, console and latency listeners),
    then the object's own. Max allocates it zero-filled; new fills it in. */
struct auvo_sfplay_t : maxmsp::MspObject<kel::AudioFilePlayer>
{
    SfplayListener* playerListener;  // owned; registered with the player
    long channels;                   // attribute: the player's channel count
    long buffersize;                 // attribute: the player's ring size in frames
};
