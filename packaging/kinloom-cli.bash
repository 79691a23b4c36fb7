# SPDX-License-Identifier: GPL-3.0-or-later
# Bash completion for kinloom-cli: its commands, each command's options, the values options take,
# and .ged files where a file goes.

_kinloom_cli()
{
    local cur prev words cword
    _init_completion || return

    if ((cword == 1)); then
        COMPREPLY=($(compgen -W 'info check tidy sample dismiss undismiss kinds --help --version' -- "$cur"))
        return
    fi
    local scan='--numeric-order --min-parent-age --max-mother-age --max-father-age --max-lifespan
        --duplicate-threshold --encoding --skip --threads'
    local options
    case ${words[1]} in
        info) options='--json --encoding --threads' ;;
        check) options="--json --report --fail-on --show-dismissed --decisions $scan" ;;
        tidy) options="--out --fix --changelog --show-dismissed --decisions $scan" ;;
        sample) options='--people --seed' ;;
        dismiss | undismiss) options="--decisions $scan" ;;
        kinds) options='' ;;
        *) return ;;
    esac

    # --fix and --skip take comma lists, so only the item after the last comma is completed.
    local list=${cur%"${cur##*,}"} item=${cur##*,}
    case $prev in
        --encoding)
            # The names the tool lists, written without spaces as it also takes them; converters'
            # names such as CP1251 are taken too.
            COMPREPLY=($(compgen -W 'UTF-8 UTF-16LE UTF-16BE ANSEL ASCII Windows-1252 MacRoman IBMPC Latin-1
                Windows-1250 Windows-1251 Windows-1253 Windows-1254 Windows-1255 Windows-1256 Windows-1257
                Windows-1258 ISO-8859-2 ISO-8859-3 ISO-8859-4 ISO-8859-5 ISO-8859-6 ISO-8859-7 ISO-8859-8
                ISO-8859-9 ISO-8859-10 ISO-8859-11 ISO-8859-13 ISO-8859-14 ISO-8859-15 ISO-8859-16 KOI8-R
                KOI8-U DOS850 DOS852 DOS866' -- "$cur"))
            ;;
        --fix)
            COMPREPLY=($(compgen -P "$list" -W 'none all duplicates impossibleDates dateFormats places
                missing links file' -- "$item"))
            ;;
        --skip)
            # The kinds are asked of the tool itself, so the list is always its own.
            COMPREPLY=($(compgen -P "$list" -W "$("${words[0]}" kinds 2>/dev/null | cut -d' ' -f1)" -- "$item"))
            ;;
        --numeric-order) COMPREPLY=($(compgen -W 'auto day-first month-first' -- "$cur")) ;;
        --fail-on) COMPREPLY=($(compgen -W 'warning error' -- "$cur")) ;;
        --changelog) COMPREPLY=($(compgen -W 'txt pdf' -- "$cur")) ;;
        --report) _filedir '@(txt|pdf)' ;;
        --out) _filedir -d ;;
        --decisions) _filedir json ;;
        --min-parent-age | --max-mother-age | --max-father-age | --max-lifespan | --duplicate-threshold | \
            --people | --seed) ;;
        *)
            if [[ $cur == -* ]]; then
                COMPREPLY=($(compgen -W "$options --help" -- "$cur"))
            elif [[ ${words[1]} != kinds ]]; then
                _filedir ged
            fi
            ;;
    esac
} &&
    complete -F _kinloom_cli kinloom-cli
