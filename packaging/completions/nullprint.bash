# bash completion for nullprint: an option first, then files of the kinds it works on.
# shellcheck shell=bash

_nullprint()
{
    local cur prev words cword
    _init_completion -n = || return
    local kinds='@(jpg|jpeg|png|heic|heif|tiff|tif|gif|bmp|webp|pdf|docx|docm|dotx|dotm|xlsx|xlsm|xltx|xltm|pptx|pptm|ppsx|potx)'
    if ((cword == 1)) && [[ $cur != [!-]* ]]; then
        mapfile -t COMPREPLY < <(compgen -W \
            '--scrub --inspect --reveal --selftest --version --help' -- "$cur")
        return
    fi
    case ${words[1]} in
        --selftest | --version | --help | -h) return ;;
    esac
    _filedir "$kinds"
}
complete -F _nullprint nullprint
