{
 "patcher": {
  "fileversion": 1,
  "appversion": {
   "major": 8,
   "minor": 6,
   "revision": 0,
   "architecture": "x64",
   "modernui": 1
  },
  "classnamespace": "box",
  "rect": [
   100.0,
   100.0,
   760.0,
   620.0
  ],
  "bglocked": 0,
  "openinpresentation": 0,
  "default_fontsize": 12.0,
  "default_fontface": 0,
  "default_fontname": "Arial",
  "gridonopen": 1,
  "gridsize": [
   15.0,
   15.0
  ],
  "gridsnaponopen": 1,
  "objectsnaponopen": 1,
  "statusbarvisible": 2,
  "toolbarvisible": 1,
  "boxanimatetime": 200,
  "enablehscroll": 1,
  "enablevscroll": 1,
  "devicewidth": 0.0,
  "description": "",
  "digest": "",
  "tags": "",
  "style": "",
  "subpatcher_template": "",
  "boxes": [
   {
    "box": {
     "id": "obj-title",
     "maxclass": "comment",
     "numinlets": 1,
     "numoutlets": 0,
     "patching_rect": [
      20.0,
      12.0,
      620.0,
      33.0
     ],
     "text": "auvo5.sfplay~ : play multichannel audio files from disk",
     "fontsize": 20.0
    }
   },
   {
    "box": {
     "id": "obj-sub",
     "maxclass": "comment",
     "numinlets": 1,
     "numoutlets": 0,
     "patching_rect": [
      20,
      46,
      700,
      20.0
     ],
     "text": "Streams WAV, RF64, Wave64, AIFF and MP3 files of up to 8192 channels; controlled by OSC-style messages."
    }
   },
   {
    "box": {
     "id": "obj-open",
     "maxclass": "message",
     "numinlets": 2,
     "numoutlets": 1,
     "patching_rect": [
      20,
      90,
      176,
      22.0
     ],
     "outlettype": [
      ""
     ],
     "text": "/open auvo5-demo.wav"
    }
   },
   {
    "box": {
     "id": "c-open",
     "maxclass": "comment",
     "numinlets": 1,
     "numoutlets": 0,
     "patching_rect": [
      200,
      90,
      260,
      20.0
     ],
     "text": "open the demo file (4 channels, 3 s, four cue markers)"
    }
   },
   {
    "box": {
     "id": "obj-choose",
     "maxclass": "message",
     "numinlets": 2,
     "numoutlets": 1,
     "patching_rect": [
      20,
      118,
      56,
      22.0
     ],
     "outlettype": [
      ""
     ],
     "text": "/open"
    }
   },
   {
    "box": {
     "id": "c-choose",
     "maxclass": "comment",
     "numinlets": 1,
     "numoutlets": 0,
     "patching_rect": [
      80,
      118,
      260,
      20.0
     ],
     "text": "choose a file"
    }
   },
   {
    "box": {
     "id": "obj-start",
     "maxclass": "message",
     "numinlets": 2,
     "numoutlets": 1,
     "patching_rect": [
      20,
      150,
      64,
      22.0
     ],
     "outlettype": [
      ""
     ],
     "text": "/start"
    }
   },
   {
    "box": {
     "id": "obj-stop",
     "maxclass": "message",
     "numinlets": 2,
     "numoutlets": 1,
     "patching_rect": [
      80,
      150,
      56,
      22.0
     ],
     "outlettype": [
      ""
     ],
     "text": "/stop"
    }
   },
   {
    "box": {
     "id": "obj-toggle",
     "maxclass": "toggle",
     "numinlets": 1,
     "numoutlets": 1,
     "patching_rect": [
      140.0,
      150,
      22.0,
      22.0
     ],
     "outlettype": [
      "int"
     ],
     "parameter_enable": 0
    }
   },
   {
    "box": {
     "id": "c-toggle",
     "maxclass": "comment",
     "numinlets": 1,
     "numoutlets": 0,
     "patching_rect": [
      166,
      150,
      90,
      20.0
     ],
     "text": "start / stop"
    }
   },
   {
    "box": {
     "id": "obj-pause",
     "maxclass": "message",
     "numinlets": 2,
     "numoutlets": 1,
     "patching_rect": [
      20,
      182,
      64,
      22.0
     ],
     "outlettype": [
      ""
     ],
     "text": "/pause"
    }
   },
   {
    "box": {
     "id": "obj-resume",
     "maxclass": "message",
     "numinlets": 2,
     "numoutlets": 1,
     "patching_rect": [
      84,
      182,
      72,
      22.0
     ],
     "outlettype": [
      ""
     ],
     "text": "/resume"
    }
   },
   {
    "box": {
     "id": "c-pause",
     "maxclass": "comment",
     "numinlets": 1,
     "numoutlets": 0,
     "patching_rect": [
      156,
      182,
      260,
      20.0
     ],
     "text": "pause and resume"
    }
   },
   {
    "box": {
     "id": "obj-loop1",
     "maxclass": "message",
     "numinlets": 2,
     "numoutlets": 1,
     "patching_rect": [
      20,
      214,
      72,
      22.0
     ],
     "outlettype": [
      ""
     ],
     "text": "/loop 1"
    }
   },
   {
    "box": {
     "id": "obj-loop0",
     "maxclass": "message",
     "numinlets": 2,
     "numoutlets": 1,
     "patching_rect": [
      86,
      214,
      72,
      22.0
     ],
     "outlettype": [
      ""
     ],
     "text": "/loop 0"
    }
   },
   {
    "box": {
     "id": "c-loop",
     "maxclass": "comment",
     "numinlets": 1,
     "numoutlets": 0,
     "patching_rect": [
      152,
      214,
      260,
      20.0
     ],
     "text": "loop on / off"
    }
   },
   {
    "box": {
     "id": "obj-seek",
     "maxclass": "message",
     "numinlets": 2,
     "numoutlets": 1,
     "patching_rect": [
      20,
      246,
      96,
      22.0
     ],
     "outlettype": [
      ""
     ],
     "text": "/seek 1500"
    }
   },
   {
    "box": {
     "id": "c-seek",
     "maxclass": "comment",
     "numinlets": 1,
     "numoutlets": 0,
     "patching_rect": [
      110,
      246,
      260,
      20.0
     ],
     "text": "play from 1.5 s to the end"
    }
   },
   {
    "box": {
     "id": "obj-segment",
     "maxclass": "message",
     "numinlets": 2,
     "numoutlets": 1,
     "patching_rect": [
      20,
      278,
      128,
      22.0
     ],
     "outlettype": [
      ""
     ],
     "text": "/seek 500 1250"
    }
   },
   {
    "box": {
     "id": "c-segment",
     "maxclass": "comment",
     "numinlets": 1,
     "numoutlets": 0,
     "patching_rect": [
      140,
      278,
      260,
      20.0
     ],
     "text": "play the segment from 0.5 s to 1.25 s"
    }
   },
   {
    "box": {
     "id": "obj-marker",
     "maxclass": "message",
     "numinlets": 2,
     "numoutlets": 1,
     "patching_rect": [
      20,
      310,
      168,
      22.0
     ],
     "outlettype": [
      ""
     ],
     "text": "/seek/marker/byid 2"
    }
   },
   {
    "box": {
     "id": "c-marker",
     "maxclass": "comment",
     "numinlets": 1,
     "numoutlets": 0,
     "patching_rect": [
      180,
      310,
      260,
      20.0
     ],
     "text": "play from cue marker 2"
    }
   },
   {
    "box": {
     "id": "obj-info",
     "maxclass": "message",
     "numinlets": 2,
     "numoutlets": 1,
     "patching_rect": [
      20,
      342,
      56,
      22.0
     ],
     "outlettype": [
      ""
     ],
     "text": "/info"
    }
   },
   {
    "box": {
     "id": "obj-dump",
     "maxclass": "message",
     "numinlets": 2,
     "numoutlets": 1,
     "patching_rect": [
      70,
      342,
      56,
      22.0
     ],
     "outlettype": [
      ""
     ],
     "text": "/dump"
    }
   },
   {
    "box": {
     "id": "obj-meta",
     "maxclass": "message",
     "numinlets": 2,
     "numoutlets": 1,
     "patching_rect": [
      124,
      342,
      128,
      22.0
     ],
     "outlettype": [
      ""
     ],
     "text": "/dump/metadata"
    }
   },
   {
    "box": {
     "id": "c-info",
     "maxclass": "comment",
     "numinlets": 1,
     "numoutlets": 0,
     "patching_rect": [
      20,
      366,
      520,
      20.0
     ],
     "text": "file information in the Max window; state and metadata out of the dump outlet"
    }
   },
   {
    "box": {
     "id": "obj-sfplay",
     "maxclass": "newobj",
     "numinlets": 1,
     "numoutlets": 6,
     "patching_rect": [
      20.0,
      410,
      300.0,
      22.0
     ],
     "outlettype": [
      "signal",
      "signal",
      "signal",
      "signal",
      "signal",
      ""
     ],
     "text": "auvo5.sfplay~ @channels 4"
    }
   },
   {
    "box": {
     "id": "obj-meter1",
     "maxclass": "meter~",
     "numinlets": 1,
     "numoutlets": 1,
     "patching_rect": [
      20.0,
      450,
      20.0,
      80.0
     ],
     "outlettype": [
      "float"
     ]
    }
   },
   {
    "box": {
     "id": "obj-meter2",
     "maxclass": "meter~",
     "numinlets": 1,
     "numoutlets": 1,
     "patching_rect": [
      50.0,
      450,
      20.0,
      80.0
     ],
     "outlettype": [
      "float"
     ]
    }
   },
   {
    "box": {
     "id": "obj-meter3",
     "maxclass": "meter~",
     "numinlets": 1,
     "numoutlets": 1,
     "patching_rect": [
      80.0,
      450,
      20.0,
      80.0
     ],
     "outlettype": [
      "float"
     ]
    }
   },
   {
    "box": {
     "id": "obj-meter4",
     "maxclass": "meter~",
     "numinlets": 1,
     "numoutlets": 1,
     "patching_rect": [
      110.0,
      450,
      20.0,
      80.0
     ],
     "outlettype": [
      "float"
     ]
    }
   },
   {
    "box": {
     "id": "c-meters",
     "maxclass": "comment",
     "numinlets": 1,
     "numoutlets": 0,
     "patching_rect": [
      20,
      534,
      160,
      20.0
     ],
     "text": "one meter per channel"
    }
   },
   {
    "box": {
     "id": "obj-dac",
     "maxclass": "ezdac~",
     "numinlets": 2,
     "numoutlets": 0,
     "patching_rect": [
      150.0,
      450,
      45.0,
      45.0
     ]
    }
   },
   {
    "box": {
     "id": "obj-snap",
     "maxclass": "newobj",
     "numinlets": 2,
     "numoutlets": 1,
     "patching_rect": [
      220.0,
      450,
      80.0,
      22.0
     ],
     "outlettype": [
      "float"
     ],
     "text": "snapshot~ 100"
    }
   },
   {
    "box": {
     "id": "obj-pos",
     "maxclass": "flonum",
     "numinlets": 1,
     "numoutlets": 2,
     "patching_rect": [
      220.0,
      480,
      80.0,
      22.0
     ],
     "outlettype": [
      "",
      "bang"
     ],
     "parameter_enable": 0
    }
   },
   {
    "box": {
     "id": "c-pos",
     "maxclass": "comment",
     "numinlets": 1,
     "numoutlets": 0,
     "patching_rect": [
      304,
      480,
      160,
      20.0
     ],
     "text": "playback position (ms)"
    }
   },
   {
    "box": {
     "id": "obj-print",
     "maxclass": "newobj",
     "numinlets": 1,
     "numoutlets": 0,
     "patching_rect": [
      330.0,
      450,
      130.0,
      22.0
     ],
     "text": "print auvo5.sfplay~"
    }
   },
   {
    "box": {
     "id": "c-print",
     "maxclass": "comment",
     "numinlets": 1,
     "numoutlets": 0,
     "patching_rect": [
      330,
      474,
      300,
      20.0
     ],
     "text": "the dump outlet: /progress, /buffering, /marker, /underrun, file information"
    }
   }
  ],
  "lines": [
   {
    "patchline": {
     "source": [
      "obj-open",
      0
     ],
     "destination": [
      "obj-sfplay",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-choose",
      0
     ],
     "destination": [
      "obj-sfplay",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-start",
      0
     ],
     "destination": [
      "obj-sfplay",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-stop",
      0
     ],
     "destination": [
      "obj-sfplay",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-toggle",
      0
     ],
     "destination": [
      "obj-sfplay",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-pause",
      0
     ],
     "destination": [
      "obj-sfplay",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-resume",
      0
     ],
     "destination": [
      "obj-sfplay",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-loop1",
      0
     ],
     "destination": [
      "obj-sfplay",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-loop0",
      0
     ],
     "destination": [
      "obj-sfplay",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-seek",
      0
     ],
     "destination": [
      "obj-sfplay",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-segment",
      0
     ],
     "destination": [
      "obj-sfplay",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-marker",
      0
     ],
     "destination": [
      "obj-sfplay",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-info",
      0
     ],
     "destination": [
      "obj-sfplay",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-dump",
      0
     ],
     "destination": [
      "obj-sfplay",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-meta",
      0
     ],
     "destination": [
      "obj-sfplay",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-sfplay",
      0
     ],
     "destination": [
      "obj-meter1",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-sfplay",
      1
     ],
     "destination": [
      "obj-meter2",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-sfplay",
      2
     ],
     "destination": [
      "obj-meter3",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-sfplay",
      3
     ],
     "destination": [
      "obj-meter4",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-sfplay",
      0
     ],
     "destination": [
      "obj-dac",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-sfplay",
      1
     ],
     "destination": [
      "obj-dac",
      1
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-sfplay",
      4
     ],
     "destination": [
      "obj-snap",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-snap",
      0
     ],
     "destination": [
      "obj-pos",
      0
     ]
    }
   },
   {
    "patchline": {
     "source": [
      "obj-sfplay",
      5
     ],
     "destination": [
      "obj-print",
      0
     ]
    }
   }
  ],
  "autosave": 0
 }
}
