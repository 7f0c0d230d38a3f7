// MP4 files of this system: clips written in one go, recordings that survive a
// crash, and reading files back. All integers in boxes are big-endian; docs/mp4.md
// shows the layout.
//
//   movie.h           what goes into a clip
//   clip_plan.h       which packets become samples, and when each track starts
//   clip_writer.cpp   WriteMp4: the plan, the layout, the file
//   mp4_writer.h      Mp4Writer: recordings, fragment by fragment
//   repair.h          FinishInterrupted; repair_plan.h: what it finds by reading
//   fragment.h        moof; recovery_block.h: what a repair must know;
//                     recording_layout.h: the end of a recording's file
//   moov.h            BuildMoov, the one routine that writes an index
//   track_table.h     the sample tables of a track while its file is made
//   sample_entries.h  stsd entries; user_data.h: udta
//   boxes.h, box_io.h boxes as structs, and how they get into and out of bytes
//   box_reader.h      walks over boxes that come from outside; byte_source.h: a file or
//                     what stands in for one
//   configuration.h   avcC, hvcC, av1C; annexb.h: byte streams into samples
//   buffered_file.h   large writes
//   reader.h          Mp4Reader: what a file holds, a record for each sample
//   moov_reader.h     its index: sample_table_reader.h (stbl), sample_entry_reader.h
//                     (stsd), user_data_reader.h (udta)
//   fragment_reader.h samples of files that were not finished
#pragma once

#include <string_view>

#include "base/status.h"
#include "mp4/movie.h"

namespace orventa {

// Writes a finished clip, `moov` before the media data. On failure no file is
// left. Reads payloads that are on disk; memory for them stays within
// `movie.read_budget` (an eighth more with a webcam) plus one packet. Any thread;
// may take seconds.
Status WriteMp4(std::string_view path, const Mp4Movie& movie);

}  // namespace orventa
