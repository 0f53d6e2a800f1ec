// Field-by-field reading of a sequential text file, with the tolerance of the classic Input #
// statement, so that a file in the described format loads whoever wrote it.
//
//  - Lines end in CR LF, LF or a lone CR; the last line may have no line end.  Line ends (and a
//    DOS end-of-file mark, Ctrl-Z) after the last line count as the end of the text, and a UTF-8
//    byte-order mark at the start is skipped.
//  - A number: leading blanks and tabs are skipped; the field ends at a comma, a blank or tab, or a
//    line end; then blanks and tabs are skipped and one comma OR one line end is consumed.  So
//    "20            0.000000000   500.00" holds three numbers (print zones), as does "1, 2,3".
//    Written as "1.00E-07", "-.01", "5e14", "1273.15", "+3", "1D3", or in double quotes.
//  - An empty field reads as 0: two commas in a row, a comma at the line end, a blank line.
//    Text that is not a number ("abc", "1.2.3", "12abc") is an error naming the field.
//  - A string: leading blanks and tabs are skipped; a field starting with a double quote runs to
//    the closing quote (commas kept), then everything up to the next comma or line end is
//    dropped and that separator consumed; otherwise it runs to a comma or line end and trailing
//    blanks are trimmed.
//  - A blank line is one empty field: a string reads "", a number 0, and the line is consumed.
//  - A Boolean is "True"/"False" in any case ("#TRUE#"/"#FALSE#" too).  A number or an empty
//    field where a Boolean belongs is an error: it means the fields have slipped.
//  - Reading past the end is an error "unexpected end of file" naming the field and the last line.
//  - Records: between beginRecord(k) and endRecord() the fields must come from one line that holds
//    exactly k of them, so that a missing or extra field is reported on its own line rather than
//    wherever the slipped fields stop making sense.  Quoted text in messages is cut to a few dozen
//    characters.
//
// Errors are InputError, whose message names the file, the 1-based line and the field:
//   "CXsetup.cxd, line 12, field 'NumNodes': expected a number, found 'abc'"
#pragma once

#include <cstddef>
#include <stdexcept>
#include <string>
#include <string_view>

namespace cx {

struct InputError : std::runtime_error {
  InputError(std::string fileName, int lineNumber, std::string fieldName, std::string problem);

  std::string file;
  int line;
  std::string field;
  std::string problem;  // what went wrong, without the place: "unexpected end of file"
};

class TextReader {
 public:
  TextReader(std::string text, std::string fileName);

  double readNumber(std::string_view field);  // an empty field is 0
  int readInt(std::string_view field);        // rounded, halves to even; out of range: error
  bool readBool(std::string_view field);
  std::string readString(std::string_view field);
  std::string readLine(std::string_view field);  // the rest of the current line (Line Input)
  void skipLine();                               // drops the rest of the line; nothing at end
  // A line whose content, ignoring blanks and tabs, is `expected` (a blank line for "").
  void expectLine(std::string_view expected, std::string_view field);
  // The next `fields` reads make one line: see Records above.  `what` names the line's content.
  void beginRecord(int fields, std::string what);
  void endRecord();
  std::string_view peekLine() const;             // the rest of the current line, not consumed
  bool atEnd() const { return pos_ >= end_; }
  int line() const { return line_; }
  const std::string& fileName() const { return fileName_; }

 private:
  // A numeric or Boolean field's text: unquoted up to a comma, blank or line end, or the inside
  // of a double-quoted field; the separator after it is consumed.
  std::string_view numericToken(std::string_view field);
  double parseNumber(std::string_view token, int lineNumber, std::string_view field) const;
  [[noreturn]] void fail(int lineNumber, std::string_view field, std::string problem) const;
  void beginField(std::string_view field);  // skips blanks; the end of the text is an error
  void checkRecordField(std::string_view field);  // within a record, the field is on its line
  void skipBlanks();
  bool atLineEnd() const { return pos_ >= end_ || text_[pos_] == '\r' || text_[pos_] == '\n'; }
  void consumeLineEnd();
  void finishField();  // skips blanks, then one comma or one line end
  std::string_view quotedBody();

  std::string text_;
  std::string fileName_;
  std::size_t pos_ = 0;
  std::size_t end_ = 0;  // where the trailing line ends begin
  int line_ = 1;
  // The open record: its line, its field count, the fields read so far and what it holds.
  int recordLine_ = 0;
  int recordFields_ = 0;
  int recordRead_ = 0;
  std::string recordWhat_;
};

}  // namespace cx
