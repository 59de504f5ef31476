#compdef quorvel-cli
# Completion of quorvel-cli for zsh, which looks for it under the name _quorvel-cli in the folders
# of $fpath.

local -a search_options=(
    '*'{-b+,--against=}'[compare with this folder, Group B]:folder:_files -/'
    '(-t --threshold)'{-t+,--threshold=}'[the least similarity of a duplicate]:percent'
    '--min-duration=[leave out shorter files]:seconds'
    '--max-duration=[leave out longer files]:seconds'
    '*--ext=[search files of these endings, too]:endings:(+all +opus +oga +aiff +wv)'
    '*--exclude=[leave out files and folders of this name or path]:pattern'
    '(-j --jobs)'{-j+,--jobs=}'[the number of threads]:threads'
    '(-f --format)'{-f+,--format=}'[the output format]:format:(tree json csv)'
    '(-o --output)'{-o+,--output=}'[write to this file]:file:_files'
    '--pairs[list every pair, not each file once]'
    '*--keep=[put the file to keep above those like it]:rules:_values -s , rule complete lossless sample-rate bit-rate size oldest under\:folder\:"_files -/"'
    '--parts[list what files have in common at any place, too]'
    '--min-length=[the length of the shortest such part]:seconds'
    '--store=[keep fingerprints in this file]:file:_files'
    '--forget[take files that are gone out of the store]'
    '--trust-store[compare what the store holds, not the files]'
    '(-q --quiet)'{-q,--quiet}'[show no progress]'
    '(-v --verbose)'{-v,--verbose}'[print what failed or was skipped]'
    '(-h --help)'{-h,--help}'[show the help]'
    '--version[show the version]'
)
local -a fingerprint_options=(
    '--store=[keep fingerprints in this file]:file:_files'
    '--shard=[take only shard K of N]:shard, such as 3/16'
    '*--ext=[search files of these endings, too]:endings:(+all +opus +oga +aiff +wv)'
    '*--exclude=[leave out files and folders of this name or path]:pattern'
    '(-j --jobs)'{-j+,--jobs=}'[the number of threads]:threads'
    '(-q --quiet)'{-q,--quiet}'[show no progress]'
    '(-v --verbose)'{-v,--verbose}'[print what failed or was skipped]'
    '(-h --help)'{-h,--help}'[show the help]'
)
local -a merge_options=(
    '--into=[the store to merge into]:file:_files'
    '(-q --quiet)'{-q,--quiet}'[show no progress]'
    '(-v --verbose)'{-v,--verbose}'[print each part that was merged]'
    '(-h --help)'{-h,--help}'[show the help]'
)
local -a apply_options=(
    '--move-to=[move the duplicates below this folder]:folder:_files -/'
    '--yes[move them, not only show what would be done]'
    '--min-similarity=[leave pairs below this alone]:percent'
    '--even-short[move files under 30 seconds, too]'
    '--even-featureless[move files without anything to hear, too]'
    '--even-partial[move duplicates of a partial file, too]'
    '--journal=[note each move in this file]:file:_files'
    '(-q --quiet)'{-q,--quiet}'[show no progress]'
    '(-v --verbose)'{-v,--verbose}'[list the moved files as well]'
    '(-h --help)'{-h,--help}'[show the help]'
)
local -a undo_options=(
    '(-q --quiet)'{-q,--quiet}'[show no progress]'
    '(-v --verbose)'{-v,--verbose}'[list the moved files as well]'
    '(-h --help)'{-h,--help}'[show the help]'
)

# The first word is a command, an option or a folder.
case ${words[2]} in
fingerprint)
    ((CURRENT == 2)) || {
        shift words
        ((CURRENT--))
        _arguments -s $fingerprint_options '*:folder:_files -/'
        return
    }
    ;;
merge)
    ((CURRENT == 2)) || {
        shift words
        ((CURRENT--))
        _arguments -s $merge_options '*:part:_files'
        return
    }
    ;;
apply)
    ((CURRENT == 2)) || {
        shift words
        ((CURRENT--))
        _arguments -s $apply_options ':result:_files -g "*.json"'
        return
    }
    ;;
undo)
    ((CURRENT == 2)) || {
        shift words
        ((CURRENT--))
        _arguments -s $undo_options ':journal:_files'
        return
    }
    ;;
search)
    ((CURRENT == 2)) || {
        shift words
        ((CURRENT--))
    }
    ;;
esac
if ((CURRENT == 2)) && [[ $words[1] == quorvel-cli ]]; then
    local -a commands=(
        'search:find duplicates'
        'fingerprint:fingerprint files without comparing them'
        'merge:merge stores of fingerprints'
        'apply:move the duplicates of a result'
        'undo:move them back'
    )
    _describe command commands
fi
_arguments -s $search_options '*:folder:_files -/'
