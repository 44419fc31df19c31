#include <chrono>
#include <filesystem>
#include <map>
#include <utility>

#include "cases.h"
#include "engine.h"
#include "util/runtime.h"
#include "xdb/tree/tree_builder.h"
#include "xdb/xquery/compile/query.h"
#include "xdb/xquery/run/serializer.h"
#include "xml/xml_events.h"

namespace xquery_cases {
namespace {

namespace xdb = kiv::xdb;
namespace xq = kiv::xdb::xq;

// Documents are read once, whatever their URIs.
class Files {
 public:
  Files() { kiv::StartValues(); }
  ~Files() { kiv::StopValues(); }

  std::shared_ptr<const xdb::Tree> Read(const std::string& file) {
    auto& known = trees_[file];
    if (!known) known = Parse(ReadFile(file));
    return known;
  }

 private:
  std::shared_ptr<const xdb::Tree> Parse(const std::string& text) {
    auto dictionary = std::make_shared<xdb::Dictionary>();
    xdb::GrowingPaths paths(*dictionary);
    xdb::TreeBuilder builder(paths);
    kiv::ReadXmlEvents(text, builder);
    auto bytes = std::make_shared<std::string>();
    builder.TakeTree(*bytes);
    return std::make_shared<xdb::Tree>(dictionary, bytes, *bytes);
  }

  std::map<std::string, std::shared_ptr<const xdb::Tree>> trees_;
};

// Items, and whatever they need to live.
struct Answer final : Value {
  xq::Sequence items;
  std::shared_ptr<const void> keeper;
};

std::string Unescaped(std::string text) {
  for (const auto& [code, character] :
       {std::pair{"%20", " "}, std::pair{"%25", "%"}}) {
    for (std::size_t i = 0; (i = text.find(code, i)) != std::string::npos; ++i)
      text.replace(i, 3, character);
  }
  return text;
}

class Source final : public xq::DocumentSource {
 public:
  Source(Files& files, const Query& query) : files_(files), query_(query) {}

  xq::SourceDocument FindDocument(const std::string& uri) override {
    for (const Document& document : query_.documents)
      if (document.uri == uri) return Read(document);
    for (const Collection& collection : query_.collections)
      for (const Document& document : collection.documents)
        if (document.uri == uri) return Read(document);
    constexpr std::string_view kScheme = "file://";
    if (!uri.starts_with(kScheme)) return {};
    const std::string file = Unescaped(uri.substr(kScheme.size()));
    if (!std::filesystem::is_regular_file(file)) return {};
    return Read({uri, file});
  }

  std::unique_ptr<xq::DocumentStream> OpenCollection(
      const std::string& uri) override {
    for (const Collection& collection : query_.collections)
      if (collection.uri == uri)
        return std::make_unique<Stream>(*this, collection);
    return nullptr;
  }

  xq::SourceDocument Read(const Document& document) {
    auto origin = std::make_shared<xq::TreeOrigin>();
    origin->document_uri = origin->base_uri = document.uri;
    try {
      return {files_.Read(document.file), origin};
    } catch (const kiv::XmlRefusal& refusal) {
      throw xq::Error("FODC0002", document.file + ": " + refusal.reason);
    }
  }

 private:
  class Stream final : public xq::DocumentStream {
   public:
    Stream(Source& source, const Collection& collection)
        : source_(source), collection_(collection) {}
    bool Next(xq::SourceDocument& document) override {
      if (next_ == collection_.documents.size()) return false;
      document = source_.Read(collection_.documents[next_++]);
      return true;
    }

   private:
    Source& source_;
    const Collection& collection_;
    std::size_t next_ = 0;
  };

  Files& files_;
  const Query& query_;
};

class LibraryEngine final : public Engine {
 public:
  ValuePtr Run(const Query& query) override {
    return Guard([&] { return RunQuery(query); });
  }

  ValuePtr Load(const Document& document) override {
    return Guard([&]() -> ValuePtr {
      const Query nothing;
      xq::Execution run({}, 0);
      auto answer = std::make_shared<Answer>();
      answer->items.push_back(
          run.RootOf(Source(files_, nothing).Read(document)));
      return answer;
    });
  }

  std::string Serialize(const Value& value) override {
    return Guard([&] {
      std::string text;
      xq::Serializer serializer(text);
      for (const xq::Item& item : static_cast<const Answer&>(value).items)
        serializer.Write(item);
      return text;
    });
  }

 private:
  template <typename Work>
  static auto Guard(Work work) -> decltype(work()) {
    try {
      return work();
    } catch (const xq::Error& error) {
      throw QueryFailure{error.code(), error.what()};
    } catch (const std::exception& error) {
      throw QueryFailure{"", error.what()};
    }
  }

  // The prefix of a variable is one that the query declares.
  static void ResolvePrefix(const xq::CompiledQuery& query, xq::QName& name) {
    const std::size_t colon = name.local.find(':');
    if (colon == std::string::npos) return;
    for (const xq::GlobalVariable& variable : query.variables) {
      if (variable.name.prefix + ":" + variable.name.local == name.local) {
        name = variable.name;
        return;
      }
    }
  }

  ValuePtr RunQuery(const Query& query) {
    xq::StaticSettings settings;
    settings.base_uri = query.base_uri;
    settings.namespaces = query.namespaces;
    std::vector<xq::BoundVariable> bound;
    auto answer = std::make_shared<Answer>();
    std::vector<ValuePtr> used;
    for (const Variable& variable : query.variables) {
      const xq::QName name{"", "", variable.name};
      if (!variable.is_declared) settings.variables.push_back(name);
      bound.push_back(
          {name, static_cast<const Answer&>(*variable.value).items});
      used.push_back(variable.value);
    }
    Source source(files_, query);
    xq::Surroundings surroundings;
    surroundings.documents = &source;
    surroundings.limits.time = std::chrono::seconds(4);
    const auto compiled = xq::Compile(query.text, settings);
    for (xq::BoundVariable& one : bound) ResolvePrefix(*compiled, one.name);
    xq::Item context;
    if (query.context)
      context = static_cast<const Answer&>(*query.context).items.front();
    xq::RunningQuery running(compiled, surroundings, context, bound);
    xq::Item item;
    while (running.Next(item)) answer->items.push_back(std::move(item));
    answer->keeper =
        std::make_shared<std::pair<std::shared_ptr<const xq::CompiledQuery>,
                                   std::vector<ValuePtr>>>(compiled,
                                                           std::move(used));
    return answer;
  }

  Files files_;
};

}  // namespace

std::unique_ptr<Engine> MakeEngine() {
  return std::make_unique<LibraryEngine>();
}

}  // namespace xquery_cases
