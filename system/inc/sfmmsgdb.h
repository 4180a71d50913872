// sfmmsgdb.h - the sectioned message database SFM_MessageDB and the string table TR.
#pragma once

#include <memory>

#include "brixexport.h"
#include "sysstring.h"

/// Numbered texts read on demand from a message file.
///
/// The file is a text file of one record per line: ";" starts a comment, "[name]"
/// starts a section, "number:text" is a message (a final "$" protects trailing
/// blanks and is not part of the text). Indexing reads the file once and keeps
/// only where each text lies; getTxt() reads the text from the file, which stays
/// open for the life of the object. Rejected lines are reported on standard
/// output as "file(line) : reason" and skipped.
///
/// Keys: a message before the first section has key = number. Each section gets a
/// base two above the highest key assigned before it (its header takes key -base),
/// and message n of the section has key base + n. Section names ignore case.
///
/// Copies share the index and the open file; a copy is cheap. Not for concurrent
/// use from several threads.
class BRIX_API SFM_MessageDB {
 public:
  /// One section of the file, in file order.
  class BRIX_API SectionTableNode {
   public:
    /// The name between the brackets of the header, as written in the file.
    const SYS_String& GetName() const { return m_Name; }
    /// The section's base: message n of the section has key GetBase() + n.
    long GetBase() const { return long(m_BaseMinusOne) + 1; }
    /// The largest message number seen in the section (meaningless while
    /// GetMessageCount() is 0).
    long GetLargestNumber() const { return m_Largest; }
    /// Number of message lines accepted in the section (repeated numbers count
    /// every time).
    long GetMessageCount() const { return m_Count; }

   private:
    friend class SFM_MessageDB;
    SYS_String m_Name;
    int m_BaseMinusOne = 0;
    int m_Largest = 0;
    int m_Count = 0;
    unsigned m_HeaderEntry = 0;  // the header's place among the records, in file order
    unsigned m_EndEntry = 0;     // one past the section's last record
  };

  /// Walks the messages of one section in ascending number order. The iterator
  /// reads through its database, which must outlive it.
  class BRIX_API SectionIterator {
   public:
    /// An empty iterator.
    SectionIterator();
    /// Positioned on the lowest-numbered message of `section` (letter case
    /// ignored); empty when the section is unknown or has no messages.
    SectionIterator(const SFM_MessageDB& db, const SYS_String& section);
    SectionIterator(const SectionIterator&);
    SectionIterator& operator=(const SectionIterator&);
    ~SectionIterator();

    /// The section's name as written in the file, "" when not attached.
    SYS_String GetName() const;
    /// The number of the current message (its key is the section base plus this),
    /// or -1 when the iterator is empty.
    long GetPosition() const;
    /// 1 when there is no current message.
    int IsEmpty() const;
    /// Detaches from the database; the iterator becomes empty.
    void Clear();
    /// Steps to the next message and returns its text ("" past the last one).
    SYS_String operator++();
    /// Returns the current text ("" when empty), then steps to the next message.
    SYS_String operator++(int);
    /// The current message's text, "" when empty.
    operator SYS_String() const;
    /// Moves to message `number` of the same section, or to the first message
    /// numbered above it when there is none with that number. Returns *this.
    SectionIterator& operator=(long number);

   private:
    struct Impl;
    std::shared_ptr<Impl> m_Impl;  // the section's sorted numbers, shared by copies
    long m_Cursor = -1;            // index into the sorted numbers, -1 when empty
  };

  /// The longest line the database takes, in bytes before its line feed; a longer
  /// line is rejected ("line too long") and skipped, so no text is longer either.
  static constexpr long kMaxLine = 65536;

  /// Opens and indexes `fileName`; reports rejected lines on standard output.
  explicit SFM_MessageDB(SYS_String fileName);
  /// Opens and indexes `fileName`; rejected lines are reported on standard output
  /// when `reportErrors` is non-zero and skipped silently otherwise.
  SFM_MessageDB(SYS_String fileName, int reportErrors);
  SFM_MessageDB(const SFM_MessageDB& other);
  SFM_MessageDB& operator=(const SFM_MessageDB& other);
  virtual ~SFM_MessageDB();

  /// 1 when the message file is open.
  virtual int IsValid() const;

  /// The text of `key`; "" when the key is unknown or the file is not open.
  SYS_String getTxt(long key) const;

  /// The base of section `name` (letter case ignored), or -1 when there is no
  /// such section.
  long GetSectionBase(SYS_String name) const;

  /// Writes every section and message to `fileName` so that indexing the written
  /// file gives the same keys and texts. Comments and rejected lines are not
  /// written. The file is written under a temporary name and renamed into place,
  /// so a failed save leaves any earlier file intact. Returns 1 on success.
  int Save(SYS_String fileName) const;

 protected:
  /// The section called `name` (letter case ignored), or null.
  const SectionTableNode* GetSection(SYS_String name) const;

 private:
  struct Index;
  struct Source;
  class Indexer;
  friend class SectionIterator;

  SYS_String ReadText(long key, bool raw) const;

  std::shared_ptr<Source> m_Source;      // the open message file, shared by copies
  std::shared_ptr<const Index> m_Index;  // never changes after indexing
};

/// The library's string resource `id`: the text of the newest loaded resource
/// module that has it, else the built-in text, else "". Non-empty results are
/// cached for the life of the process.
BRIX_API SYS_String TR(int id);

/// `text` itself (an empty string for null), held in a process-wide cache so that
/// repeated calls share one buffer. No translation takes place.
BRIX_API SYS_String TR(const char* text);
