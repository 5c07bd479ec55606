"""Completions for bash, zsh and fish. Each offers what fits where the cursor is:

- commands as the first argument, and options of their own only after them;
- the words of an option that has a list; folders or files after an option that takes a path; nothing after any other
  value;
- recordings (by their ending, in any case) and folders as inputs, in fish all files, which has no simple rule for it;
  folders alone for what takes folders.
"""

HEADER = "Made by help/make_help.py from the usage text of the program; change that."
EXTENSIONS = ("mp4", "mov", "m4v")


def takes_folder(entry):
    return entry.value.split("|")[-1] in ("DIR", "FOLDER") or entry.value == "PATH" and entry.name.endswith("-root")


def takes_file(entry):
    return entry.value in ("PATH", "RECORDING", "MOVIE") and not takes_folder(entry)


def takes_anything(entry):
    """A value that nothing can be offered for, such as a number."""
    return bool(entry.value) and not (takes_folder(entry) or takes_file(entry) or entry.words)


def function_name(usage):
    return "_" + usage.program.replace("-", "_")


def pattern(entries):
    """The spellings of several options as one pattern of a case."""
    return "|".join(name for entry in entries for name in entry.names)


def spellings(entries):
    return " ".join(name for entry in entries for name in entry.names)


def any_case(word):
    """A pattern that matches the word in capitals, too."""
    return "".join(f"[{letter}{letter.upper()}]" if letter.isalpha() else letter for letter in word)


def bash_values(usage):
    """What follows an option, as branches of a case."""
    options = usage.all_options()
    kinds = [
        *[([entry], f'''COMPREPLY=($(compgen -W "{' '.join(entry.words)}" -- "$current"))''', takes_folder(entry))
          for entry in options if entry.words],
        ([entry for entry in options if takes_folder(entry) and not entry.words], "", True),
        ([entry for entry in options if takes_file(entry)],
         '''compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$current")''', False),
        ([entry for entry in options if takes_anything(entry)], "compopt +o bashdefault +o default 2>/dev/null", False),
    ]
    folder = '''compopt -o filenames 2>/dev/null
      mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -d -- "$current")'''
    return "\n".join(
        f"    {pattern(entries)})\n      " + "\n      ".join(filter(None, [action, folder * folders, "return ;;"]))
        for entries, action, folders in kinds if entries)


def bash_commands(usage):
    if not usage.commands:
        return ""
    cases = "\n".join(f'''      {command.entry.name})
        words="{spellings(command.all_options())}"
        inputs={command.inputs or '""'} ;;''' for command in usage.commands)
    return f'''  if ((COMP_CWORD > 1)); then
    case ${{COMP_WORDS[1]}} in
{cases}
    esac
  fi
'''


def bash_completion(usage):
    endings = "|".join(any_case(extension) for extension in EXTENSIONS)
    names = " ".join(command.entry.name for command in usage.commands)
    first = "" if not names else f'''
  ((COMP_CWORD > 1)) || mapfile -t -O ${{#COMPREPLY[@]}} COMPREPLY < <(compgen -W "{names}" -- "$current")'''
    return f'''# bash completion for {usage.program}
# {HEADER}

{function_name(usage)}() {{
  local current=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}} file
  local words="{spellings(usage.options)}" inputs={usage.inputs or '""'}
  COMPREPLY=()
  case $previous in
{bash_values(usage)}
  esac
{bash_commands(usage)}  if [[ $current == -* ]]; then
    COMPREPLY=($(compgen -W "$words" -- "$current"))
    return
  fi
  case $inputs in
    recordings)
      compopt -o filenames 2>/dev/null
      while IFS= read -r file; do
        [[ -d $file || $file == *.@({endings}) ]] && COMPREPLY+=("$file")
      done < <(compgen -f -- "$current") ;;
    folders)
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -d -- "$current") ;;
    *) compopt +o bashdefault +o default 2>/dev/null ;;
  esac{first}
}}

# What is not completed here (a home folder, quoted names) the shell completes by itself.
complete -o bashdefault -o default -F {function_name(usage)} {usage.program}
'''


def zsh_text(text):
    """For between single quotes, where _arguments and _describe take colons and brackets for marks."""
    escaped = "".join("\\" + letter if letter in ":[]\\" else letter for letter in text)
    return escaped.replace("'", "'\\''")


def zsh_value(entry):
    """What _arguments completes as the value, with the colons before it."""
    if not entry.value:
        return ""
    action = " "
    if entry.words and takes_folder(entry):
        action = f"{{compadd {' '.join(entry.words)}; _files -/}}"
    elif entry.words:
        action = f"({' '.join(entry.words)})"
    elif takes_folder(entry):
        action = "_files -/"
    elif takes_file(entry):
        action = "_files"
    return f":{zsh_text(entry.value)}:{action}"


def zsh_option(entry):
    # Spellings of one option exclude each other; all options may be repeated in the program, which nobody wants offered.
    names = " ".join(entry.names)
    spelling = f"'({names})'{{{','.join(entry.names)}}}" if len(entry.names) > 1 else entry.name
    return f"{spelling}'[{zsh_text(entry.description)}]{zsh_value(entry)}'"


def zsh_options(entries, inputs, indent):
    lines = "\n".join(f"{indent}  {zsh_option(entry)}" for entry in entries)
    return f"{indent}inputs={inputs}\n{indent}options=(\n{lines}\n{indent})"


def zsh_completion(usage):
    name = function_name(usage)
    described = " ".join(f'{command.entry.name}:"{zsh_text(command.entry.description)}"' for command in usage.commands)
    commands = f"  (( CURRENT > 2 )) || _describe -t commands command '({described})'\n" if usage.commands else ""
    branches = "\n".join(f"    {command.entry.name})\n{zsh_options(command.all_options(), command.inputs, '      ')} ;;"
                         for command in usage.commands)
    chosen = f"  (( CURRENT == 2 )) || case $words[2] in\n{branches}\n  esac\n" if usage.commands else ""
    return f'''#compdef {usage.program}
# {HEADER}

{name}_input() {{
{commands}  case $inputs in
    recordings) _files -g '*.(#i)({'|'.join(EXTENSIONS)})(-.)' ;;
    folders) _files -/ ;;
  esac
}}

{name}() {{
  local inputs
  local -a options
{zsh_options(usage.options, usage.inputs, '  ')}
{chosen}  _arguments $options '*:input:{name}_input'
}}

{name} "$@"
'''


def fish_quoted(text):
    return "'" + text.replace("\\", "\\\\").replace("'", "\\'") + "'"


def fish_option(usage, entry, condition=""):
    short = "".join(f" -s {name.removeprefix('-')}" for name in entry.names[:-1])
    value = ""
    if entry.words:
        folders = " (__fish_complete_directories)" if takes_folder(entry) else ""
        value = f" -x -a {fish_quoted(' '.join(entry.words) + folders)}"
    elif takes_folder(entry):
        value = " -x -a '(__fish_complete_directories)'"
    elif takes_file(entry):
        value = " -r -F"
    elif entry.value:
        value = " -x"
    when = f" -n {fish_quoted(condition)}" if condition else ""
    return (f"complete -c {usage.program}{when}{short} -l {entry.name.removeprefix('--')}{value} "
            f"-d {fish_quoted(entry.description)}")


def fish_completion(usage):
    first = "test (count (commandline -opc)) = 1"
    after = {command: f"contains -- {command.entry.name} (commandline -opc)[2]" for command in usage.commands}
    everywhere = [entry for entry in usage.options if all(entry in command.all_options() for command in usage.commands)]
    inputs = [] if usage.inputs else [f"complete -c {usage.program} -f"]
    for command in usage.commands:
        inputs.append(f"complete -c {usage.program} -n '{first}' -a {command.entry.name} "
                      f"-d {fish_quoted(command.entry.description)}")
        if command.inputs == "folders":
            inputs.append(f"complete -c {usage.program} -n {fish_quoted(after[command])} -a '(__fish_complete_directories)'")
    options = [fish_option(usage, entry, "" if entry in everywhere else first) for entry in usage.options]
    options += [fish_option(usage, entry, after[command]) for command in usage.commands
                for entry in command.all_options() if entry not in everywhere]
    head = [f"# fish completion for {usage.program}", f"# {HEADER}"]
    return "\n\n".join("\n".join(block) for block in (head, inputs, options) if block) + "\n"
