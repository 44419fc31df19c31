#ifndef XDB_XQUERY_SYNTAX_LEXER_H_
#define XDB_XQUERY_SYNTAX_LEXER_H_

#include <array>
#include <cstddef>
#include <string>
#include <string_view>

#include "xdb/xquery/values/error.h"

namespace kiv::xdb::xq {

enum class TokenKind {
  End,
  Name,           // a, p:a; keywords are names
  PrefixAndStar,  // p:*
  StarAndLocal,   // *:a
  String,
  Integer,
  Decimal,
  Double,
  Dollar,
  LeftParen,
  RightParen,
  LeftBracket,
  RightBracket,
  LeftBrace,
  RightBrace,
  Comma,
  Semicolon,
  Assign,
  ColonColon,
  At,
  Dot,
  DotDot,
  Question,
  Slash,
  SlashSlash,
  Star,
  Plus,
  Minus,
  Bar,
  Equal,
  NotEqual,
  Less,
  LessEqual,
  LessLess,
  Greater,
  GreaterEqual,
  GreaterGreater,
  PragmaOpen,
  Invalid,  // `fault` says why
};

struct Token {
  TokenKind kind = TokenKind::End;
  std::size_t begin = 0;
  std::size_t end = 0;
  std::size_t colon = 0;  // of a name with a prefix, else 0
  Position position;
  const char* fault = nullptr;
};

// The text of a query with every line end a single LF. Throws XPST0003 for
// bytes that are no UTF-8 and for characters that XML does not allow. `room` is
// used where the text has to be changed.
std::string_view CheckedQueryText(std::string_view query, std::string& room);

// Tokens on demand, and below them characters, for what the grammar writes
// without white space between: constructors, pragmas. What is looked at ahead
// may not be a token at all (the inside of a constructor), so that nothing here
// fails before the parser takes what is wrong.
class Lexer {
 public:
  // The text must be a checked one and outlive the lexer.
  explicit Lexer(std::string_view text) : text_(text) {}

  const Token& Current() { return Ahead(0); }
  // Ahead(1) is behind the current one; 2 is the most.
  const Token& Ahead(std::size_t count) {
    while (ahead_count_ <= count) ahead_[ahead_count_++] = Scan();
    return ahead_[count];
  }
  Token Take();

  std::string_view Text(const Token& token) const {
    return text_.substr(token.begin, token.end - token.begin);
  }

  // Forgets the tokens ahead; characters are read from there, and tokens again
  // when one is asked for.
  void Seek(std::size_t offset) {
    ahead_count_ = 0;
    offset_ = offset;
  }
  std::size_t offset() const { return offset_; }
  std::string_view Rest() const { return text_.substr(offset_); }
  bool IsAtEnd() const { return offset_ == text_.size(); }
  bool StartsWith(std::string_view begin) const {
    return text_.compare(offset_, begin.size(), begin) == 0;
  }
  // Steps over it when it is there.
  bool Skip(std::string_view begin) {
    if (!StartsWith(begin)) return false;
    offset_ += begin.size();
    return true;
  }
  bool SkipSpace();
  // The name without a colon at the offset; empty when there is none.
  std::string_view TakeNcName();

  Position PositionAt(std::size_t offset);
  Position Here() { return PositionAt(offset_); }

  // The value of a string literal. Throws as AppendReference does.
  std::string StringValue(const Token& token);

  // At "&" of text[offset]: appends what the reference stands for and returns
  // what is behind it. XPST0003, or XQST0090 where it is no character.
  std::size_t AppendReference(std::size_t offset, std::string& out);

 private:
  Token Scan();
  bool SkipIgnorable();
  bool SkipComment();
  void ScanName(Token& token);
  void ScanNumber(Token& token);
  void ScanString(Token& token);
  void ScanSymbol(Token& token);
  bool IsNameAt(std::size_t offset) const;
  char At(std::size_t offset) const {
    return offset < text_.size() ? text_[offset] : '\0';
  }

  std::string_view text_;
  std::size_t offset_ = 0;
  std::array<Token, 3> ahead_;
  std::size_t ahead_count_ = 0;
  // The place that was asked for last.
  std::size_t known_offset_ = 0;
  Position known_{1, 1};
};

}  // namespace kiv::xdb::xq

#endif  // XDB_XQUERY_SYNTAX_LEXER_H_
