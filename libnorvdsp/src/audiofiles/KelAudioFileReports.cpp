#include "audiofiles/KelAudioFileReports.h"

#include <cmath>

#include "audiofiles/KelAudioFileInfo.h"

namespace kel {

const OscAddressPattern& FilenameAddress() { static const OscAddressPattern a("/filename"); return a; }
const OscAddressPattern& LengthAddress() { static const OscAddressPattern a("/length"); return a; }
const OscAddressPattern& ChannelNumberAddress() { static const OscAddressPattern a("/channel/number"); return a; }

namespace {

// Every address the reports emit, each built once by its own getter.
const OscAddressPattern& SamplesAddress() { static const OscAddressPattern a("/samples"); return a; }
const OscAddressPattern& SampleRateAddress() { static const OscAddressPattern a("/samplerate"); return a; }
const OscAddressPattern& BitDepthAddress() { static const OscAddressPattern a("/bitdepth"); return a; }
const OscAddressPattern& FormatAddress() { static const OscAddressPattern a("/format"); return a; }
const OscAddressPattern& DurationAddress() { static const OscAddressPattern a("/duration"); return a; }
const OscAddressPattern& FloatAddress() { static const OscAddressPattern a("/float"); return a; }
const OscAddressPattern& BwfDescriptionAddress() { static const OscAddressPattern a("/chunk/bwf/description"); return a; }
const OscAddressPattern& BwfOriginatorAddress() { static const OscAddressPattern a("/chunk/bwf/originator"); return a; }
const OscAddressPattern& BwfOriginatorRefAddress() { static const OscAddressPattern a("/chunk/bwf/originatorref"); return a; }
const OscAddressPattern& BwfOriginationDateAddress() { static const OscAddressPattern a("/chunk/bwf/originationdate"); return a; }
const OscAddressPattern& BwfOriginationTimeAddress() { static const OscAddressPattern a("/chunk/bwf/originationtime"); return a; }
const OscAddressPattern& BwfTimeReferenceAddress() { static const OscAddressPattern a("/chunk/bwf/timereference"); return a; }
const OscAddressPattern& BwfCodingHistoryAddress() { static const OscAddressPattern a("/chunk/bwf/codinghistory"); return a; }
const OscAddressPattern& BwfVersionAddress() { static const OscAddressPattern a("/chunk/bwf/bwfversion"); return a; }
const OscAddressPattern& BwfUmidAddress() { static const OscAddressPattern a("/chunk/bwf/smpteumid"); return a; }
const OscAddressPattern& BwfTimeReferenceTranslatedAddress() { static const OscAddressPattern a("/chunk/bwf/timereferencetranslated"); return a; }
const OscAddressPattern& MarkerNumberAddress() { static const OscAddressPattern a("/chunk/mark/marker/number"); return a; }

/** The file's length in whole milliseconds, truncated. */
std::int64_t LengthInWholeMilliseconds(const AudioFilesMetadata& metadata)
{
    const double ms = std::trunc(LengthInMilliseconds(metadata));
    if (!(std::abs(ms) < 9.0e18))
        return 0;
    return std::int64_t(ms);
}

} // namespace

void AppendInfoReport(const AudioFilesMetadata& metadata, OscBundle& bundle)
{
    bundle.AddInt64Message(LengthAddress(), LengthInWholeMilliseconds(metadata));
    bundle.AddInt64Message(SamplesAddress(), metadata.lengthInSamples);
    bundle.AddDoubleMessage(SampleRateAddress(), metadata.sampleRate);
    bundle.AddInt32Message(BitDepthAddress(), std::int32_t(metadata.bitsPerSample));
    bundle.AddInt32Message(ChannelNumberAddress(), std::int32_t(metadata.numChannels));
    bundle.AddStringMessage(FormatAddress(), FormatText(metadata));
    bundle.AddStringMessage(DurationAddress(), DurationText(LengthInMilliseconds(metadata)));
    bundle.AddBoolMessage(FloatAddress(), metadata.usesFloatingPointData);
}

void AppendBroadcastWaveReport(const AudioFilesMetadata& metadata, OscBundle& bundle)
{
    struct Field
    {
        const OscAddressPattern& (*address)();
        const char* key;
    };
    static constexpr Field fields[] = {
        {&BwfDescriptionAddress, "bwav description"},
        {&BwfOriginatorAddress, "bwav originator"},
        {&BwfOriginatorRefAddress, "bwav originator ref"},
        {&BwfOriginationDateAddress, "bwav origination date"},
        {&BwfOriginationTimeAddress, "bwav origination time"},
        {&BwfTimeReferenceAddress, "bwav time reference"},
        {&BwfCodingHistoryAddress, "bwav coding history"},
        {&BwfVersionAddress, "bwav bwf version"},
        {&BwfUmidAddress, "bwav smpte umid"},
        {&BwfTimeReferenceTranslatedAddress, "bwav time reference (translated HH:MM:SS.mmm)"},
    };
    const auto& keys = metadata.bwfKeys;
    for (const auto& field : fields)
        for (std::size_t i = 0; i < keys.size() && i < metadata.bwfValues.size(); ++i)
            if (keys[i] == field.key)
            {
                bundle.AddStringMessage(field.address(), metadata.bwfValues[i]);
                break;
            }
}

void AppendMarkerReport(const AudioFilesMetadata& metadata, OscBundle& bundle)
{
    bundle.AddInt32Message(MarkerNumberAddress(), std::int32_t(metadata.markers.size()));
    std::int32_t number = 0;
    for (const auto& marker : metadata.markers)
    {
        OscMessage message(OscAddressPattern("/chunk/mark/marker/" + ToString(++number)));
        message.AddInt32(marker->identifier).AddInt32(marker->position).AddString(marker->label);
        bundle.AddMessage(std::move(message));
    }
}

void AppendMetadataDump(const File& file, const AudioFilesMetadata& metadata, OscBundle& bundle)
{
    bundle.AddStringMessage(FilenameAddress(), file.getFullPathName());
    AppendInfoReport(metadata, bundle);
    AppendBroadcastWaveReport(metadata, bundle);
    AppendMarkerReport(metadata, bundle);
}

} // namespace kel
