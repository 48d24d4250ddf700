# fish completion for nullprint: an option first, then files of the kinds it works on.

set -l kinds jpg jpeg png heic heif tiff tif gif bmp webp pdf docx docm dotx dotm xlsx xlsm xltx xltm pptx pptm ppsx potx

function __nullprint_takes_files
    set -l words (commandline -opc)
    test (count $words) -eq 1; and string match -q -r '^-?$' -- (commandline -ct); and return 1
    not contains -- $words[2] --selftest --version --help -h
end

function __nullprint_files
    set -l kinds (string join '|' $argv)
    __fish_complete_path (commandline -ct) | string match -r -i "^.*?(?:/|\\.(?:$kinds))(?:\\t.*)?\$"
end

complete -c nullprint -f
set -l first 'test (count (commandline -opc)) -eq 1'
complete -c nullprint -n $first -a --scrub -d 'write a cleaned copy of each file'
complete -c nullprint -n $first -a --inspect -d 'show metadata still present in a file'
complete -c nullprint -n $first -a --reveal -d 'plain-language report of hidden data'
complete -c nullprint -n $first -a --selftest -d 'verify the scrub engine'
complete -c nullprint -n $first -a --version -d 'print the version'
complete -c nullprint -n $first -a --help -d 'print a summary of the options'
complete -c nullprint -n __nullprint_takes_files -a "(__nullprint_files $kinds)"
