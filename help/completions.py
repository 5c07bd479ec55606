"""Completions for bash, zsh and fish. Each offers what fits where the cursor is:

- the command check-support as the first argument, and options of its own only after it;
- the words of an option that has a closed list; folders or files after an option that takes a path; nothing after
  one that takes a number;
- recordings (by their ending, in any case) and folders as inputs; all files in fish, which has no simple rule for it.
"""

HEADER = "Made by help/make_help.py from the usage text of the program; change that."
EXTENSIONS = ("mp4", "mov", "m4v")


def takes_folder(entry):
    return entry.value == "PATH" and entry.name.endswith("-root")


def takes_file(entry):
    return entry.value == "PATH" and not takes_folder(entry)


def takes_anything(entry):
    """A value that nothing can be offered for: a number."""
    return bool(entry.value) and entry.value != "PATH" and not entry.words


def pattern(entries):
    """The spellings of several options as one pattern of a case."""
    return "|".join(name for entry in entries for name in entry.names)


def spellings(entries):
    return " ".join(name for entry in entries for name in entry.names)


def any_case(word):
    """A pattern that matches the word in capitals, too."""
    return "".join(f"[{letter}{letter.upper()}]" if letter.isalpha() else letter for letter in word)


def bash_completion(usage):
    options = usage.all_options()
    numbers = [entry for entry in options if takes_anything(entry)]
    cases = [f'''    {pattern([entry])})
      COMPREPLY=($(compgen -W "{' '.join(entry.words)}" -- "$current"))
      return ;;''' for entry in options if entry.words]
    cases += [f'''    {pattern([entry for entry in options if takes_folder(entry)])})
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -d -- "$current")
      return ;;''', f'''    {pattern([entry for entry in options if takes_file(entry)])})
      compopt -o filenames 2>/dev/null
      mapfile -t COMPREPLY < <(compgen -f -- "$current")
      return ;;''', f'''    {pattern(numbers)})
      compopt +o bashdefault +o default 2>/dev/null
      return ;;''']
    endings = "|".join(any_case(extension) for extension in EXTENSIONS)
    return f'''# bash completion for veyrin-video-converter
# {HEADER}

_veyrin_video_converter() {{
  local current=${{COMP_WORDS[COMP_CWORD]}} previous=${{COMP_WORDS[COMP_CWORD - 1]}} words file
  COMPREPLY=()
  case $previous in
{chr(10).join(cases)}
  esac
  if [[ $current == -* ]]; then
    words="{spellings(usage.options)}"
    [[ ${{COMP_WORDS[1]}} != {usage.command.name} ]] || words+=" {spellings(usage.check_only)}"
    COMPREPLY=($(compgen -W "$words" -- "$current"))
    return
  fi
  compopt -o filenames 2>/dev/null
  while IFS= read -r file; do
    [[ -d $file || $file == *.@({endings}) ]] && COMPREPLY+=("$file")
  done < <(compgen -f -- "$current")
  ((COMP_CWORD > 1)) || mapfile -t -O ${{#COMPREPLY[@]}} COMPREPLY < <(compgen -W {usage.command.name} -- "$current")
}}

# What is not completed here (a home folder, quoted names) the shell completes by itself.
complete -o bashdefault -o default -F _veyrin_video_converter veyrin-video-converter
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
    if entry.words:
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


def zsh_completion(usage):
    def lines(entries):
        return "\n".join(f"    {zsh_option(entry)}" for entry in entries)

    return f'''#compdef veyrin-video-converter
# {HEADER}

_veyrin_video_converter_input() {{
  (( CURRENT > 2 )) || _describe -t commands command '({usage.command.name}:"{zsh_text(usage.command.description)}")'
  _files -g '*.(#i)({'|'.join(EXTENSIONS)})(-.)'
}}

_veyrin_video_converter() {{
  local -a options
  options=(
{lines(usage.options)}
  )
  [[ $words[2] != {usage.command.name} || $CURRENT == 2 ]] || options+=(
{lines(usage.check_only)}
  )
  _arguments $options '*:recording:_veyrin_video_converter_input'
}}

_veyrin_video_converter "$@"
'''


def fish_quoted(text):
    return "'" + text.replace("\\", "\\\\").replace("'", "\\'") + "'"


def fish_option(entry, condition=""):
    short = "".join(f" -s {name.removeprefix('-')}" for name in entry.names[:-1])
    value = ""
    if entry.words:
        value = f" -x -a {fish_quoted(' '.join(entry.words))}"
    elif takes_folder(entry):
        value = " -x -a '(__fish_complete_directories)'"
    elif takes_file(entry):
        value = " -r -F"
    elif entry.value:
        value = " -x"
    when = f" -n {fish_quoted(condition)}" if condition else ""
    return (f"complete -c veyrin-video-converter{when}{short} -l {entry.name.removeprefix('--')}{value} "
            f"-d {fish_quoted(entry.description)}")


def fish_completion(usage):
    checking = f"contains -- {usage.command.name} (commandline -opc)[2]"
    lines = [
        "# fish completion for veyrin-video-converter",
        f"# {HEADER}",
        "",
        f"complete -c veyrin-video-converter -n 'test (count (commandline -opc)) = 1' -a {usage.command.name} "
        f"-d {fish_quoted(usage.command.description)}",
        "",
        *[fish_option(entry) for entry in usage.options],
        *[fish_option(entry, checking) for entry in usage.check_only],
    ]
    return "\n".join(lines) + "\n"
