#include "command_tree.h"

#include <algorithm>
#include <cctype>

namespace kiv_tool {
namespace {

// Of "TEXT:{xml,plain}", as CLI11 names the type of what may be one of these.
std::string Choices(const std::string& type) {
  const std::size_t begin = type.find('{');
  const std::size_t end = type.find('}', begin);
  if (end == std::string::npos) return {};
  std::string choices;
  for (const char c : type.substr(begin + 1, end - begin - 1))
    choices += c == ',' ? std::string(", ") : std::string(1, c);
  return choices;
}

CommandTree::Option ReadOption(const CLI::Option& option) {
  CommandTree::Option result;
  for (const std::string& name : option.get_snames())
    result.names.push_back("-" + name);
  for (const std::string& name : option.get_lnames())
    result.names.push_back("--" + name);
  result.description = option.get_description();
  result.choices = Choices(option.get_type_name());
  result.fallback = option.get_default_str();
  result.is_positional = result.names.empty();
  result.is_required = option.get_required();
  result.may_repeat = option.get_items_expected_max() > 1;
  if (result.is_positional) {
    result.argument = option.get_single_name();
  } else if (option.get_items_expected_max() > 0) {
    // Named after what it is for.
    result.argument = option.get_single_name();
  }
  std::transform(
      result.argument.begin(), result.argument.end(), result.argument.begin(),
      [](char c) {
        return static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
      });
  return result;
}

// Those of a group belong to the command around it.
void AddOptions(const CLI::App& app, std::vector<CommandTree::Option>& out) {
  // A group has a --help of its own, which is that of the command again.
  const bool is_group = app.get_name().empty();
  for (const CLI::Option* option : app.get_options())
    if (!option->get_group().empty() &&
        !(is_group && option == app.get_help_ptr()))
      out.push_back(ReadOption(*option));
  for (const CLI::App* group : app.get_subcommands(
           [](const CLI::App* inner) { return inner->get_name().empty(); }))
    AddOptions(*group, out);
}

}  // namespace

CommandTree ReadCommandTree(const CLI::App& app) {
  CommandTree tree;
  tree.name = app.get_name();
  tree.description = app.get_description();
  tree.footer = app.get_footer();
  AddOptions(app, tree.options);
  for (const CLI::App* command : app.get_subcommands([](const CLI::App* inner) {
         return !inner->get_name().empty() && !inner->get_group().empty();
       }))
    tree.commands.push_back(ReadCommandTree(*command));
  return tree;
}

}  // namespace kiv_tool
