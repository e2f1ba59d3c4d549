// CWaveformFolder: keeps waveform records in a folder, three files each, at most so many.
//
// A record appears with its .cfg, which is named last and removed first: who finds that finds the
// whole record. Files are made under temporary names that begin with a ".". Other files of the
// folder are left alone: a record's are those named as here.
#pragma once

#include <sys/time.h>

#include <deque>
#include <string>

namespace toolkit {

// The contents of a record's files. docs/waveforms.md says what is read of them.
struct CWaveformFiles {
  std::string cfg;
  std::string dat;
  std::string hdr;
};

class CWaveformFolder {
 public:
  CWaveformFolder(std::string folder, std::size_t max) : folder_(std::move(folder)), max_(max) {}

  // Finds the records that are there, and removes what a killed run has left of others. False when
  // the folder cannot be read. All calls leave their reason in lastError().
  bool open();

  // A name that no file of the folder has: of the time, so that names sort by it, and of the
  // device.
  std::string nameOf(timeval time, const std::string& device) const;
  // Makes a record, and room for it: oldest go first. When it fails there is nothing of it.
  bool write(const std::string& name, const CWaveformFiles& record);
  bool remove(const std::string& name);

  std::size_t max() const { return max_; }
  const std::string& lastError() const { return lastError_; }

 private:
  bool fail(const std::string& path);
  bool unlink(const std::string& path);
  bool removeFiles(const std::string& name);
  bool makeRoom();
  bool writeFile(const std::string& path, const std::string& text);
  bool writeAll(const std::string& name, const CWaveformFiles& record);
  bool publish(const std::string& name);
  bool syncFolder();
  std::string pathOf(const std::string& file) const { return folder_ + "/" + file; }

  std::string folder_;
  std::size_t max_;
  std::deque<std::string> names_;  // oldest first
  std::string lastError_;
};

}  // namespace toolkit
