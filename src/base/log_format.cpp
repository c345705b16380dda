#include "base/log_format.h"

#include <charconv>
#include <algorithm>
#include <cmath>
#include <cstdint>

std::int64_t LogArg::AsSigned() const {
  switch (kind_) {
    case Kind::kSigned:
      return signed_;
    case Kind::kUnsigned:
      return static_cast<std::int64_t>(unsigned_);
    case Kind::kDouble:
      return static_cast<std::int64_t>(double_);
    case Kind::kPointer:
      return static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(pointer_));
    case Kind::kWide:
      return static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(wide_));
    case Kind::kNarrow:
      return static_cast<std::int64_t>(reinterpret_cast<std::uintptr_t>(narrow_));
  }
  return 0;
}

std::uint64_t LogArg::AsUnsigned() const { return static_cast<std::uint64_t>(AsSigned()); }

double LogArg::AsDouble() const {
  switch (kind_) {
    case Kind::kDouble:
      return double_;
    case Kind::kSigned:
      return static_cast<double>(signed_);
    case Kind::kUnsigned:
      return static_cast<double>(unsigned_);
    default:
      return 0.0;
  }
}

namespace {

struct Directive {
  bool left = false;
  bool plus = false;
  bool space = false;
  bool alternate = false;
  bool zero = false;
  int width = 0;
  int precision = -1;
  int bits = 32;  // integer size selected by the length modifier
};

// The exact decimal value of a double: digits d1 d2 ... with d1 worth 10^exponent.
struct Decimal {
  std::string digits;
  int exponent = 0;
};

Decimal ExactDecimal(double magnitude) {
  Decimal decimal;
  if (magnitude == 0.0) {
    decimal.digits.assign(1, '0');
    return decimal;
  }
  // 800 significant digits hold every double exactly.
  char buffer[900];
  const auto [end, error] =
      std::to_chars(buffer, buffer + sizeof(buffer), magnitude, std::chars_format::scientific, 800);
  const std::string_view text(buffer, error == std::errc() ? end - buffer : 0);
  const size_t e = text.find('e');
  for (size_t i = 0; i < e; ++i) {
    if (text[i] != '.') decimal.digits.push_back(text[i]);
  }
  std::from_chars(text.data() + e + (text[e + 1] == '+' ? 2 : 1), text.data() + text.size(),
                  decimal.exponent);
  while (decimal.digits.size() > 1 && decimal.digits.back() == '0') decimal.digits.pop_back();
  return decimal;
}

void SetZero(Decimal& decimal) {
  decimal.digits.assign(1, '0');
  decimal.exponent = 0;
}

// Keeps `count` leading digits, rounding half away from zero on the exact value, as the
// Windows runtime's printf does (2.5 prints as 3 with %.0f).
void RoundToDigits(Decimal& decimal, int count) {
  if (count < 0) {
    SetZero(decimal);
    return;
  }
  if (static_cast<size_t>(count) >= decimal.digits.size()) {
    decimal.digits.append(count - decimal.digits.size(), '0');
    return;
  }
  const bool up = decimal.digits[count] >= '5';
  decimal.digits.resize(count);
  if (!up) {
    if (decimal.digits.empty()) SetZero(decimal);
    return;
  }
  int i = count - 1;
  while (i >= 0 && decimal.digits[i] == '9') decimal.digits[i--] = '0';
  if (i >= 0) {
    ++decimal.digits[i];
  } else {
    decimal.digits.insert(decimal.digits.begin(), '1');
    decimal.digits.pop_back();
    ++decimal.exponent;
    if (count == 0) decimal.digits.assign(1, '1');
  }
}

std::string FixedText(double magnitude, int precision, bool alternate) {
  Decimal decimal = ExactDecimal(magnitude);
  RoundToDigits(decimal, decimal.exponent + 1 + precision);
  std::string integer;
  std::string fraction;
  for (int position = std::max(decimal.exponent, 0); position >= -precision; --position) {
    const int index = decimal.exponent - position;
    const char digit = index >= 0 && static_cast<size_t>(index) < decimal.digits.size()
                           ? decimal.digits[index]
                           : '0';
    (position >= 0 ? integer : fraction).push_back(digit);
  }
  return integer + (precision > 0 || alternate ? "." : "") + fraction;
}

std::string ExponentText(int exponent) {
  // The Windows runtime prints at least three exponent digits.
  std::string digits = std::to_string(exponent < 0 ? -exponent : exponent);
  if (digits.size() < 3) digits.insert(0, 3 - digits.size(), '0');
  return std::string(exponent < 0 ? "e-" : "e+") + digits;
}

std::string ScientificText(double magnitude, int precision, bool alternate) {
  Decimal decimal = ExactDecimal(magnitude);
  RoundToDigits(decimal, precision + 1);
  if (magnitude == 0.0) decimal.exponent = 0;
  std::string text(1, decimal.digits[0]);
  if (precision > 0 || alternate) text += '.';
  text += decimal.digits.substr(1, precision);
  return text + ExponentText(decimal.exponent);
}

std::string GeneralText(double magnitude, int precision, bool alternate) {
  Decimal decimal = ExactDecimal(magnitude);
  RoundToDigits(decimal, precision);
  const int exponent = magnitude == 0.0 ? 0 : decimal.exponent;
  std::string text = (exponent < -4 || exponent >= precision)
                         ? ScientificText(magnitude, precision - 1, alternate)
                         : FixedText(magnitude, precision - 1 - exponent, alternate);
  if (!alternate && text.find('.') != std::string::npos) {
    const size_t e = text.find('e');
    std::string mantissa = text.substr(0, e);
    const std::string tail = e == std::string::npos ? "" : text.substr(e);
    while (mantissa.back() == '0') mantissa.pop_back();
    if (mantissa.back() == '.') mantissa.pop_back();
    text = mantissa + tail;
  }
  return text;
}

class Formatter {
 public:
  Formatter(std::size_t capacity, const LogArg* args, std::size_t count)
      : limit_(capacity == 0 ? 0 : capacity - 1), args_(args), count_(count) {}

  std::u16string Run(std::u16string_view format) {
    size_t i = 0;
    while (i < format.size() && out_.size() < limit_) {
      const char16_t c = format[i++];
      if (c != u'%') {
        Put(c);
        continue;
      }
      if (i >= format.size()) break;
      Directive directive;
      i = ParseDirective(format, i, directive);
      if (i >= format.size()) break;
      Convert(format[i++], directive);
    }
    if (out_.size() > limit_) out_.resize(limit_);
    return out_;
  }

 private:
  const LogArg* Next() { return index_ < count_ ? &args_[index_++] : nullptr; }

  int NextInt() {
    const LogArg* arg = Next();
    return arg ? static_cast<int>(arg->AsSigned()) : 0;
  }

  size_t ParseDirective(std::u16string_view f, size_t i, Directive& directive) {
    for (; i < f.size(); ++i) {
      const char16_t c = f[i];
      if (c == u'-')
        directive.left = true;
      else if (c == u'+')
        directive.plus = true;
      else if (c == u' ')
        directive.space = true;
      else if (c == u'#')
        directive.alternate = true;
      else if (c == u'0')
        directive.zero = true;
      else
        break;
    }
    if (i < f.size() && f[i] == u'*') {
      directive.width = NextInt();
      if (directive.width < 0) {
        directive.left = true;
        directive.width = -directive.width;
      }
      ++i;
    } else {
      while (i < f.size() && f[i] >= u'0' && f[i] <= u'9')
        directive.width = directive.width * 10 + (f[i++] - u'0');
    }
    if (i < f.size() && f[i] == u'.') {
      ++i;
      directive.precision = 0;
      if (i < f.size() && f[i] == u'*') {
        directive.precision = NextInt();
        if (directive.precision < 0) directive.precision = -1;
        ++i;
      } else {
        while (i < f.size() && f[i] >= u'0' && f[i] <= u'9') {
          directive.precision = directive.precision * 10 + (f[i++] - u'0');
        }
      }
    }
    while (i < f.size()) {
      const std::u16string_view rest = f.substr(i);
      if (rest.starts_with(u"I64")) {
        directive.bits = 64;
        i += 3;
      } else if (rest.starts_with(u"I32")) {
        directive.bits = 32;
        i += 3;
      } else if (rest.starts_with(u"ll")) {
        directive.bits = 64;
        i += 2;
      } else if (rest.starts_with(u"hh")) {
        directive.bits = 8;
        i += 2;
      } else if (f[i] == u'h') {
        directive.bits = 16;
        ++i;
      } else if (f[i] == u'l' || f[i] == u'w' || f[i] == u'L') {
        ++i;
      } else if (f[i] == u'I' || f[i] == u'z' || f[i] == u'j' || f[i] == u't') {
        directive.bits = 64;
        ++i;
      } else {
        break;
      }
    }
    return i;
  }

  void Put(char16_t c) { out_.push_back(c); }

  // Pads `body` (after an optional sign or prefix) to the width.
  void Emit(std::u16string_view prefix, std::u16string_view body, const Directive& directive,
            bool zeroPad) {
    const size_t length = prefix.size() + body.size();
    const size_t pad = directive.width > 0 && static_cast<size_t>(directive.width) > length
                           ? directive.width - length
                           : 0;
    if (directive.left) {
      out_.append(prefix);
      out_.append(body);
      out_.append(pad, u' ');
    } else if (zeroPad) {
      out_.append(prefix);
      out_.append(pad, u'0');
      out_.append(body);
    } else {
      out_.append(pad, u' ');
      out_.append(prefix);
      out_.append(body);
    }
  }

  static std::u16string Digits(std::uint64_t value, unsigned base, bool upper) {
    const char* digits = upper ? "0123456789ABCDEF" : "0123456789abcdef";
    std::u16string text;
    do {
      text.insert(text.begin(), static_cast<char16_t>(digits[value % base]));
      value /= base;
    } while (value != 0);
    return text;
  }

  static std::uint64_t Truncate(std::uint64_t value, int bits) {
    return bits >= 64 ? value : value & ((std::uint64_t{1} << bits) - 1);
  }

  static std::int64_t TruncateSigned(std::int64_t value, int bits) {
    switch (bits) {
      case 8:
        return static_cast<std::int8_t>(value);
      case 16:
        return static_cast<std::int16_t>(value);
      case 32:
        return static_cast<std::int32_t>(value);
      default:
        return value;
    }
  }

  void Integer(const Directive& directive, bool isSigned, unsigned base, bool upper) {
    const LogArg* arg = Next();
    std::u16string prefix;
    std::uint64_t magnitude = 0;
    if (isSigned) {
      const std::int64_t v = TruncateSigned(arg ? arg->AsSigned() : 0, directive.bits);
      if (v < 0) {
        prefix = u"-";
        magnitude = static_cast<std::uint64_t>(-(v + 1)) + 1;
      } else {
        magnitude = static_cast<std::uint64_t>(v);
        if (directive.plus)
          prefix = u"+";
        else if (directive.space)
          prefix = u" ";
      }
    } else {
      magnitude = Truncate(arg ? arg->AsUnsigned() : 0, directive.bits);
    }
    std::u16string body =
        (directive.precision == 0 && magnitude == 0) ? u"" : Digits(magnitude, base, upper);
    if (directive.precision > 0 && body.size() < static_cast<size_t>(directive.precision)) {
      body.insert(0, directive.precision - body.size(), u'0');
    }
    if (directive.alternate && magnitude != 0) {
      if (base == 16) prefix = upper ? u"0X" : u"0x";
      if (base == 8 && body.front() != u'0') body.insert(body.begin(), u'0');
    }
    Emit(prefix, body, directive, directive.zero && !directive.left && directive.precision < 0);
  }

  void Pointer(const Directive& directive) {
    const LogArg* arg = Next();
    std::u16string body = Digits(arg ? arg->AsUnsigned() : 0, 16, true);
    body.insert(0, 16 - body.size(), u'0');
    Emit(u"", body, directive, false);
  }

  void Floating(const Directive& directive, char16_t conversion) {
    const LogArg* arg = Next();
    const double value = arg ? arg->AsDouble() : 0.0;
    const int precision = directive.precision < 0 ? 6 : directive.precision;
    const char16_t lower = conversion | 0x20;
    const bool upper = conversion != lower;
    std::string text;
    if (!std::isfinite(value)) {
      text = std::isnan(value) ? "nan" : "inf";
    } else if (lower == u'f') {
      text = FixedText(std::fabs(value), precision, directive.alternate);
    } else if (lower == u'e') {
      text = ScientificText(std::fabs(value), precision, directive.alternate);
    } else {
      text = GeneralText(std::fabs(value), precision == 0 ? 1 : precision, directive.alternate);
    }
    std::u16string body;
    for (char ch : text)
      body.push_back(static_cast<char16_t>(upper && ch >= 'a' && ch <= 'z' ? ch - 32 : ch));
    std::u16string prefix;
    if (std::signbit(value))
      prefix = u"-";
    else if (directive.plus)
      prefix = u"+";
    else if (directive.space)
      prefix = u" ";
    Emit(prefix, body, directive, directive.zero && !directive.left && std::isfinite(value));
  }

  // Typed arguments tell wide from narrow text, so %s, %S, %hs and %ls all read what was given.
  void Text(const Directive& directive) {
    const LogArg* arg = Next();
    const size_t max =
        directive.precision < 0 ? SIZE_MAX : static_cast<size_t>(directive.precision);
    std::u16string body;
    if (const char16_t* wide = arg ? arg->AsWide() : nullptr) {
      for (const char16_t* p = wide; *p && body.size() < max; ++p) body.push_back(*p);
    } else if (const char* bytes = arg ? arg->AsNarrow() : nullptr) {
      for (const char* p = bytes; *p && body.size() < max; ++p)
        body.push_back(static_cast<unsigned char>(*p));
    } else {
      body = std::u16string(u"(null)").substr(0, max);
    }
    Emit(u"", body, directive, directive.zero && !directive.left);
  }

  void Character(const Directive& directive) {
    const LogArg* arg = Next();
    const char16_t c = static_cast<char16_t>(arg ? arg->AsUnsigned() : 0);
    Emit(u"", std::u16string_view(&c, 1), directive, directive.zero && !directive.left);
  }

  void Convert(char16_t conversion, const Directive& directive) {
    switch (conversion) {
      case u'd':
      case u'i':
        Integer(directive, true, 10, false);
        break;
      case u'u':
        Integer(directive, false, 10, false);
        break;
      case u'o':
        Integer(directive, false, 8, false);
        break;
      case u'x':
        Integer(directive, false, 16, false);
        break;
      case u'X':
        Integer(directive, false, 16, true);
        break;
      case u'p':
        Pointer(directive);
        break;
      case u'f':
      case u'F':
      case u'e':
      case u'E':
      case u'g':
      case u'G':
        Floating(directive, conversion);
        break;
      case u's':
      case u'S':
        Text(directive);
        break;
      case u'c':
      case u'C':
        Character(directive);
        break;
      case u'%':
        Put(u'%');
        break;
      default:
        Put(conversion);
        break;
    }
  }

  size_t limit_;
  const LogArg* args_;
  size_t count_;
  size_t index_ = 0;
  std::u16string out_;
};

}  // namespace

std::u16string FormatLogLineV(std::size_t capacity, std::u16string_view format, const LogArg* args,
                              std::size_t count) {
  return Formatter(capacity, args, count).Run(format);
}
