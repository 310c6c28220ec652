# What Tab makes of a line, in a shell at a terminal: completion.zsh SHELL COMPLETIONS_DIR DIR.
# DIR holds the store that store.bash has made.
here=${0:A:h}
shell=$1 completions=$2 work=$3
export HOME=$work/home TERM=dumb LC_ALL=C.UTF-8
export QEL_CONFIG_DIR=$work/etc QEL_LOG_DIR=$work/log QEL_IPC_NAME=/qelalert-completion-$$
mkdir -p $HOME/configuration
touch $HOME/configuration/notes.txt
cd $HOME
. $here/terminal.zsh

tab=$'\t'

# completes TYPED LINE: Tab behind TYPED makes LINE of it.
completes() {
  line_after "$1$tab"
  same "Tab behind \"$1\"" "$2" "$REPLY"
}
# stays TYPED: there is nothing to offer.
stays() { completes "$1" "$1"; }

# In bash, a comma list and a directory may go on; zsh ends a field with a comma of its own.
typeset -A field_end=(bash '' zsh ',' fish ' ')

check_words() {
  completes 'qelalert exp' 'qelalert export '
  completes 'qelalert config c' 'qelalert config check '
  completes 'qelalert config check --q' 'qelalert config check --quiet '
  completes 'qelalert list --rev' 'qelalert list --reverse '
  completes 'qelalert list -S -1h --rev' 'qelalert list -S -1h --reverse '
  completes 'qelalert list -o ta' 'qelalert list -o table '
  completes 'qelalert list --output=ta' 'qelalert list --output=table '
  completes 'qelalert list --fields id,me' "qelalert list --fields id,message$field_end[$shell]"
  completes 'qelalert list --fields=id,me' "qelalert list --fields=id,message$field_end[$shell]"
  completes 'qelalert list --since yes' 'qelalert list --since yesterday '
  completes 'qelalert stats --by ho' 'qelalert stats --by hour '
  completes 'qelalert raise --level 1 --wai' 'qelalert raise --level 1 --wait '
  stays 'qelalert compl'
}

check_default_subcommand() {
  completes 'qelalert --rev' 'qelalert --reverse '
  completes 'qelalert --vers' 'qelalert --version '
  completes 'qelalert -n 3 --rev' 'qelalert -n 3 --reverse '
  completes 'qelalert -s pl' 'qelalert -s plain '
  completes 'qelalert --config configuration exp' 'qelalert --config configuration export '
}

check_files() {
  completes 'qelalert --config conf' 'qelalert --config configuration/'
  completes 'qelalert --config=conf' 'qelalert --config=configuration/'
  stays 'qelalert --config configuration/no'
  completes 'qelalert export --file configuration/no' \
    'qelalert export --file configuration/notes.txt '
  completes 'qelalert list --cursor-file=configuration/no' \
    'qelalert list --cursor-file=configuration/notes.txt '
  completes 'qelalert verify configuration/no' 'qelalert verify configuration/notes.txt '
}

# Whatever the tool's own help tells is offered. A name that others begin with stays as it is.
check_all_is_offered() {
  local command option
  local -a options same_begin
  local -a commands
  commands=(${(f)"$(qelalert --help | sed -n 's/^  \([a-z]*\)  .*/\1/p')"})
  for command in ${commands:#qelalert}; do
    completes "qelalert $command" "qelalert $command "
    options=(${(f)"$(qelalert $command --help | grep -oE '^  (-[A-Za-z], )?--[a-z-]+')"})
    options=(--${^options##*--})
    for option in $options; do
      same_begin=(${(M)options:#$option*})
      (( $#same_begin > 1 )) && continue
      line_after "qelalert $command $option$tab"
      [[ $REPLY == "qelalert $command $option"[=\ ] ]] || same "$option" "and more" "$REPLY"
    done
  done
}

# How the beginning of a name is typed: in either quotes, or behind backslashes.
single() { REPLY="'$1"; }
double() {
  REPLY=\"${1//(#m)[\$\\\"]/\\$MATCH}
  [[ $shell == fish ]] || REPLY=${REPLY//\`/\\\`}  # where it has a meaning
}
bare() { REPLY=${1//(#m)[^a-zA-Z0-9]/\\$MATCH}; }

# The name that is completed means the server, and nothing of it is evaluated: the alert of each
# server tells the number of its line.
check_hostile_names() {
  setopt local_options extended_glob
  local name way typed
  local -i line=0
  for name in ${(f)"$(<$here/servers)"}; do
    (( ++line ))
    for way in single double bare; do
      # In double quotes, bash cannot write "!" so that its history leaves it alone.
      [[ $way == double && $shell == bash && $name == *!* ]] && continue
      $way ${name[1,2]}
      typed=$REPLY
      output_of "qelalert list -o cat -s $typed$tab"
      same "the alert of $typed" $line "$REPLY"
    done
    output_of "qelalert show -o cat '$name[1,2]$tab"
    same "the alert shown of $name" $line "$REPLY"
    output_of "qelalert count -i $line -s '!$name[1,2]$tab"
    same "the alerts of others than $name" 0 "$REPLY"
  done
}

check_edges_of_names() {
  completes "qelalert list -s it" "qelalert list -s it\\'s "
  completes "qelalert list --server=a:" "qelalert list --server=a:b=c@d:e "
  completes "qelalert list -m 'module 1" "qelalert list -m 'module 1' "
  stays "qelalert list -s 'line"  # has a line break
  line_after "qelalert list -s 'hu$tab"
  same "a name with an exclamation mark" "qelalert list -s 'huh!x' " "$REPLY"
}

# The values come from the log that the line is about.
check_other_configuration() {
  run_line "export QEL_CONFIG_DIR=$HOME"
  stays 'qelalert list -s pl'
  completes "qelalert --config $work/etc -s pl" "qelalert --config $work/etc -s plain "
  completes "qelalert --config=$work/etc show pl" "qelalert --config=$work/etc show plain/1 "
  run_line "export QEL_CONFIG_DIR=$work/etc"
}

check_without_log() {
  rm -r $work/var
  stays 'qelalert list -s pl'
}

start_$shell
check_words
check_default_subcommand
check_files
check_all_is_offered
check_hostile_names
check_edges_of_names
for file in owned*(N); do same "a name was evaluated" "" $file; done
check_other_configuration
check_without_log
zpty -d terminal
exit $(( failures > 0 ))
