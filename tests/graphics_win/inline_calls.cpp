#include "inline_calls.h"

#include <windows.h>

#include <d3dcompiler.h>
#include <wrl/client.h>

#include <deque>
#include <map>
#include <regex>
#include <stdexcept>
#include <string>
#include <vector>

#include "base/base_win/win32.h"
#include "base/text.h"

namespace orventa::test {
namespace {

using Names = std::map<std::string, std::string>;

const std::regex kWord(R"([A-Za-z_]\w*)");
const std::regex kFunction(
    R"((?:float\d?|void)\s+(\w+)\s*\(([^)]*)\)\s*(?::\s*\w+\s*)?\{([^}]*)\})");
const std::regex kDeclaration(R"(^((?:float|bool)\d?)\s+(\w+)$)");

struct Function {
  std::string head;  // up to the brace
  std::string type;
  std::vector<std::pair<std::string, std::string>> parameters;  // type, name
  std::string body;
};

// The parts between commas that stand in no brackets.
std::vector<std::string> Parts(const std::string& list) {
  std::vector<std::string> parts(1);
  int depth = 0;
  for (const char c : list) {
    if (c == '(') ++depth;
    if (c == ')') --depth;
    if (c == ',' && depth == 0) {
      parts.emplace_back();
    } else {
      parts.back() += c;
    }
  }
  for (std::string& part : parts) part = std::string(Trim(part));
  return parts;
}

std::string Renamed(const std::string& text, const Names& names) {
  std::string out;
  size_t done = 0;
  for (std::sregex_iterator word(text.begin(), text.end(), kWord), end; word != end; ++word) {
    const auto at = static_cast<size_t>(word->position());
    out += text.substr(done, at - done);
    const bool member = at > 0 && (text[at - 1] == '.' || isalnum(text[at - 1]) != 0);
    const auto found = names.find(word->str());
    out += !member && found != names.end() ? found->second : word->str();
    done = at + static_cast<size_t>(word->length());
  }
  return out + text.substr(done);
}

class Inliner {
 public:
  explicit Inliner(const std::string& text) {
    rest_ = std::regex_replace(text, kFunction, "");
    for (std::sregex_iterator at(text.begin(), text.end(), kFunction), end; at != end; ++at) {
      const std::string whole = at->str();
      Function function{
          whole.substr(0, whole.find('{')), whole.substr(0, whole.find(' ')), {}, (*at)[3]};
      for (const std::string& parameter : Parts((*at)[2])) {
        std::smatch found;
        if (std::regex_search(parameter, found, kDeclaration)) {
          function.parameters.emplace_back(found[1], found[2]);
        }
      }
      functions_[(*at)[1]] = function;
    }
    functions_["exp"] = {{}, "float", {{"float", "x"}}, "return pow(2.718281828, x);"};
    // What is chosen from is finite.
    functions_["Select"].body = "return no + (yes - no) * which;";
    for (auto& [type, name] : functions_["Select"].parameters) {
      if (name == "which") type = "float3";
    }
  }

  std::string Entry(const std::string& name) {
    const Function& entry = functions_.at(name);
    const std::string result = Steps(entry.body, {});
    const std::string end = entry.type == "void" ? "" : "return " + result + ";\n";
    return rest_ + entry.head + "{\n" + steps_ + end + "}\n";
  }

 private:
  std::string Fresh() { return "step" + std::to_string(++count_); }

  // Writes a body out; what it returns is the answer.
  std::string Steps(const std::string& body, Names names) {
    std::string text = body;
    for (size_t end; (end = text.find(';')) != std::string::npos; text.erase(0, end + 1)) {
      const std::string statement(Trim(std::string_view(text).substr(0, end)));
      if (statement.starts_with("return ")) return Expression(Renamed(statement.substr(7), names));
      const size_t equals = statement.find(" = ");
      const std::string left = statement.substr(0, equals);
      const std::string value = Expression(Renamed(statement.substr(equals + 3), names));
      std::smatch declared;
      if (std::regex_match(left, declared, kDeclaration)) {
        steps_ += declared[1].str() + " " + (names[declared[2]] = Fresh()) + " = " + value + ";\n";
      } else {
        steps_ += Renamed(left, names) + " = " + value + ";\n";
      }
    }
    return {};
  }

  std::string Expression(const std::string& text) {
    for (std::sregex_iterator word(text.begin(), text.end(), kWord), end; word != end; ++word) {
      const auto at = static_cast<size_t>(word->position());
      const size_t open = text.find_first_not_of(' ', at + static_cast<size_t>(word->length()));
      const auto function = functions_.find(word->str());
      if (function == functions_.end() || open == std::string::npos || text[open] != '(') continue;
      size_t close = open;
      for (int depth = 0; close < text.size(); ++close) {
        if (text[close] == '(') ++depth;
        if (text[close] == ')' && --depth == 0) break;
      }
      const std::string result =
          Call(function->second, Parts(text.substr(open + 1, close - open - 1)));
      return Expression(text.substr(0, at) + result + text.substr(close + 1));
    }
    return text;
  }

  std::string Call(const Function& function, const std::vector<std::string>& arguments) {
    Names names;
    for (size_t i = 0; i < arguments.size(); ++i) {
      const std::string value = Expression(arguments[i]);
      const auto& [type, name] = function.parameters.at(i);
      steps_ += type + " " + (names[name] = Fresh()) + " = " + value + ";\n";
    }
    const std::string value = Steps(function.body, names);
    const std::string result = Fresh();
    steps_ += function.type + " " + result + " = " + value + ";\n";
    return result;
  }

  std::map<std::string, Function> functions_;
  std::string rest_;
  std::string steps_;
  int count_ = 0;
};

std::string Preprocessed(const ShaderSource& source) {
  std::vector<D3D_SHADER_MACRO> macros;
  for (const ShaderDefine& define : source.defines) {
    macros.push_back({define.name.c_str(), define.value.c_str()});
  }
  macros.push_back({nullptr, nullptr});
  const auto preprocess = SystemFunction<pD3DPreprocess>(L"d3dcompiler_47.dll", "D3DPreprocess");
  Microsoft::WRL::ComPtr<ID3DBlob> out;
  if (preprocess == nullptr || FAILED(preprocess(source.text.data(), source.text.size(), nullptr,
                                                 macros.data(), nullptr, &out, nullptr))) {
    throw std::runtime_error("D3DPreprocess fails");
  }
  const std::string text(static_cast<const char*>(out->GetBufferPointer()), out->GetBufferSize());
  return std::regex_replace(text, std::regex("\\s+"), " ");
}

}  // namespace

ShaderSource WithoutCalls(const ShaderSource& source) {
  static std::deque<std::string> texts;
  texts.push_back(Inliner(Preprocessed(source)).Entry(source.entry));
  return {texts.back(), {}, source.entry, source.profile};
}

Status CompileForWine(const ShaderSource& source, ShaderCode& code) {
  return CompileShader(WithoutCalls(source), code);
}

}  // namespace orventa::test
