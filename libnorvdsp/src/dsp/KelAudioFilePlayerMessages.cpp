// The player's OSC vocabulary: its documentation entries and its handlers,
// registered in the order they are tried (after the frame's own "/dsp"
// messages). Each handler takes only its exact argument form.
//
// Besides the transport, the player takes back its own state report: a
// "/filename" with an empty name is skipped, "/channel/number" and "/length"
// are taken and ignored (they describe the file, they set nothing).
#include <cmath>
#include <limits>

#include "common/KelException.h"
#include "audiofiles/KelAudioFileReports.h"
#include "dsp/KelAudioFilePlayer.h"
#include "osc/KelOscArgumentShape.h"

namespace kel {

const OscAddressPattern& AudioFilePlayer::LoopAddress()
{
    static const OscAddressPattern address("/loop");
    return address;
}

const OscAddressPattern& AudioFilePlayer::ProgressAddress()
{
    static const OscAddressPattern address("/progress");
    return address;
}

const OscAddressPattern& AudioFilePlayer::BufferingAddress()
{
    static const OscAddressPattern address("/buffering");
    return address;
}

namespace {

const OscAddressPattern& OpenAddress()
{
    static const OscAddressPattern address("/open");
    return address;
}
const OscAddressPattern& LoadAddress()
{
    static const OscAddressPattern address("/load");
    return address;
}
const OscAddressPattern& FileAddress()
{
    static const OscAddressPattern address("/file");
    return address;
}
const OscAddressPattern& ReportAddress()
{
    static const OscAddressPattern address("/report");
    return address;
}
const OscAddressPattern& StartAddress()
{
    static const OscAddressPattern address("/start");
    return address;
}
const OscAddressPattern& StopAddress()
{
    static const OscAddressPattern address("/stop");
    return address;
}
const OscAddressPattern& PauseAddress()
{
    static const OscAddressPattern address("/pause");
    return address;
}
const OscAddressPattern& ResumeAddress()
{
    static const OscAddressPattern address("/resume");
    return address;
}
const OscAddressPattern& SwitchAddress()
{
    static const OscAddressPattern address("/switch");
    return address;
}
const OscAddressPattern& SeekAddress()
{
    static const OscAddressPattern address("/seek");
    return address;
}
const OscAddressPattern& SeekMarkerByLabelAddress()
{
    static const OscAddressPattern address("/seek/marker/bylabel");
    return address;
}
const OscAddressPattern& SeekMarkerByIdAddress()
{
    static const OscAddressPattern address("/seek/marker/byid");
    return address;
}
const OscAddressPattern& GetMetadataAddress()
{
    static const OscAddressPattern address("/getmetadata");
    return address;
}
const OscAddressPattern& DumpMetadataAddress()
{
    static const OscAddressPattern address("/dump/metadata");
    return address;
}
const OscAddressPattern& InfoAddress()
{
    static const OscAddressPattern address("/info");
    return address;
}

/** A number argument truncated to an integer (NaN gives 0, the infinities
    the extremes). */
std::int64_t TruncatedInteger(const OscArgument& argument)
{
    switch (argument.getTypeTag())
    {
        case 'i':
            return argument.getInt32();
        case 'h':
            return argument.getInt64();
        default:
        {
            const double value = std::trunc(argument.getAsDouble());
            if (std::isnan(value))
                return 0;
            if (value <= double(std::numeric_limits<std::int64_t>::min()))
                return std::numeric_limits<std::int64_t>::min();
            if (value >= double(std::numeric_limits<std::int64_t>::max()))
                return std::numeric_limits<std::int64_t>::max();
            return std::int64_t(value);
        }
    }
}

} // namespace

void AudioFilePlayer::registerMessages()
{
    AddDocumentation(OpenAddress(), "open a dialog for choosing audio file", "open a dialog for choosing audio file");
    AddDocumentation(OpenAddress(), "open an audio file", "open an audio file", "s", "file name");
    AddDocumentation(StartAddress(), "start playback", "start playback");
    AddDocumentation(StopAddress(), "stop playback", "stop playback");
    AddDocumentation(PauseAddress(), "pause playback", "pause playback");
    AddDocumentation(ResumeAddress(), "resume from where paused", "resume from where paused");
    AddDocumentation(SwitchAddress(), "pause or resume playback", "pause or resume playback");
    AddDocumentation(LoopAddress(), "enable loop mode", "enable loop mode", "i", "on/off");
    AddDocumentation(SeekAddress(), "play from this time", "play from this time (in msec) to the end of the file", "n",
                     "time (msec)");
    AddDocumentation(SeekAddress(), "play a given segment", "play a given segment of the current file (in msec)",
                     "nn", "start end (msec)");
    AddDocumentation(InfoAddress(), "post information", "post info about the current file to the Max window");
    AddDocumentation(FreewheelAddress(), "wait for the disk when rendering offline",
                     "1: offline rendering: each audio block waits until the disk has delivered it, so that a "
                     "render faster than real time is exact (for Pd's -batch mode and Max's non-real-time "
                     "driver); 0 (the default): the audio thread never waits for the disk.",
                     "i", "on/off");

    for (const OscAddressPattern* address : {&OpenAddress(), &LoadAddress(), &FilenameAddress(), &FileAddress()})
    {
        const bool isStateAddress = address == &FilenameAddress();
        AddMessageHandler(*address,
                          [this, isStateAddress](const OscMessage& m, const MessageFlag& flag)
                          {
                              if (OscHasShape(m, "") && !isStateAddress)
                              {
                                  openWithDialog();
                                  return true;
                              }
                              if (!OscHasShape(m, "s"))
                                  return false;
                              const String& name = m[0].getString();
                              // A state report without a file; a recalled
                              // state naming the open file keeps it playing.
                              if (isStateAddress && name.empty())
                                  return true;
                              if (flag.isReplayedState() && hasOpenFile()
                                  && getOpenFile().getFullPathName() == name)
                                  return true;
                              openByName(name);
                              return true;
                          });
    }
    for (const OscAddressPattern* address : {&ChannelNumberAddress(), &LengthAddress()})
        AddMessageHandler(*address, [](const OscMessage& m, const MessageFlag&) { return OscHasShape(m, "n"); });

    AddMessageHandler(ReportAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (!OscHasShape(m, ""))
                              return false;
                          ReportPlayedTotal();
                          return true;
                      });
    AddMessageHandler(StartAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (!OscHasShape(m, ""))
                              return false;
                          PlayWhole();
                          return true;
                      });
    // "/stop" and "/pause" are the same, deliberately: both keep the position.
    for (const OscAddressPattern* address : {&StopAddress(), &PauseAddress()})
        AddMessageHandler(*address,
                          [this](const OscMessage& m, const MessageFlag&)
                          {
                              if (!OscHasShape(m, ""))
                                  return false;
                              Pause();
                              return true;
                          });
    AddMessageHandler(ResumeAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (!OscHasShape(m, ""))
                              return false;
                          Resume();
                          return true;
                      });
    AddMessageHandler(SwitchAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (!OscHasShape(m, ""))
                              return false;
                          Switch();
                          return true;
                      });
    AddMessageHandler(LoopAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (!OscHasShape(m, "b"))
                              return false;
                          SetLoop(m.getArgumentAsBool(0));
                          return true;
                      });
    // Left out of the state (see GetState).
    AddMessageHandler(FreewheelAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (!OscHasShape(m, "b"))
                              return false;
                          SetFreewheel(m.getArgumentAsBool(0));
                          return true;
                      });
    AddMessageHandler(SeekAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (OscHasShape(m, "nn"))
                              Seek(m.getArgumentAsDouble(0), m.getArgumentAsDouble(1));
                          else if (OscHasShape(m, "n"))
                              Seek(m.getArgumentAsDouble(0));
                          else if (OscHasShape(m, ""))
                              Seek(0.0);
                          else
                              return false;
                          return true;
                      });
    AddMessageHandler(SeekMarkerByLabelAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (OscHasShape(m, "s"))
                              SeekMarker(m[0].getString());
                          else if (OscHasShape(m, "n"))
                              // A number names a label made of its digits, not an ID.
                              SeekMarker(ToString(TruncatedInteger(m[0])));
                          else
                              return false;
                          return true;
                      });
    AddMessageHandler(SeekMarkerByIdAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (!OscHasShape(m, "n"))
                              return false;
                          const std::int64_t id = TruncatedInteger(m[0]);
                          if (id < 0 || id > std::int64_t(std::numeric_limits<unsigned int>::max()))
                              return false;
                          SeekMarker(static_cast<unsigned int>(id));
                          return true;
                      });
    for (const OscAddressPattern* address : {&GetMetadataAddress(), &DumpMetadataAddress()})
        AddMessageHandler(*address,
                          [this](const OscMessage& m, const MessageFlag&)
                          {
                              if (!OscHasShape(m, ""))
                                  return false;
                              dumpMetadata();
                              return true;
                          });
    AddMessageHandler(InfoAddress(),
                      [this](const OscMessage& m, const MessageFlag&)
                      {
                          if (!OscHasShape(m, ""))
                              return false;
                          PostLines(getInformation());
                          return true;
                      });
}

void AudioFilePlayer::openByName(const String& name)
{
    std::optional<File> found = LocateFile(name);
    // The host finds only regular files; anything else that exists there (a
    // folder, a FIFO, a device) goes to the opener, which says what it is.
    if (!found && File(name).exists())
        found = File(name);
    if (!found)
        throw exceptions::NoSuchFile(name, KEL_HERE);
    OpenAudioFile(*found);
}

void AudioFilePlayer::openWithDialog()
{
    const FileChoice choice = ChooseFile(FilePurpose::open, "open an audio file");
    switch (choice.outcome)
    {
        case FileChoice::Outcome::chosen:
            OpenAudioFile(choice.file);
            return;
        case FileChoice::Outcome::cancelled:
            return;
        case FileChoice::Outcome::unavailable:
            break;
    }
    throw Exception("there is no file dialog in this host: please give a file name", KEL_HERE);
}

} // namespace kel
