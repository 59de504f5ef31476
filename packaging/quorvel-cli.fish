# Completion of quorvel-cli for fish, which looks for it in
# ~/.local/share/fish/vendor_completions.d and the like.

set -l commands search fingerprint merge apply undo
set -l search 'not __fish_seen_subcommand_from fingerprint merge apply undo'
set -l fingerprint '__fish_seen_subcommand_from fingerprint'
set -l merge '__fish_seen_subcommand_from merge'
set -l apply '__fish_seen_subcommand_from apply'
set -l undo '__fish_seen_subcommand_from undo'

complete -c quorvel-cli -f
complete -c quorvel-cli -n "not __fish_seen_subcommand_from $commands" -a search -d 'Find duplicates'
complete -c quorvel-cli -n "not __fish_seen_subcommand_from $commands" -a fingerprint -d 'Fingerprint files without comparing them'
complete -c quorvel-cli -n "not __fish_seen_subcommand_from $commands" -a merge -d 'Merge stores of fingerprints'
complete -c quorvel-cli -n "not __fish_seen_subcommand_from $commands" -a apply -d 'Move the duplicates of a result'
complete -c quorvel-cli -n "not __fish_seen_subcommand_from $commands" -a undo -d 'Move them back'
complete -c quorvel-cli -n $search -a '(__fish_complete_directories)'
complete -c quorvel-cli -n $fingerprint -a '(__fish_complete_directories)'
complete -c quorvel-cli -n $merge -F
complete -c quorvel-cli -n $apply -a '(__fish_complete_suffix .json)'
complete -c quorvel-cli -n $undo -F

complete -c quorvel-cli -n $search -s b -l against -x -a '(__fish_complete_directories)' -d 'Compare with this folder, Group B'
complete -c quorvel-cli -n $search -s t -l threshold -x -d 'The least similarity of a duplicate'
complete -c quorvel-cli -n $search -l min-duration -x -d 'Leave out shorter files'
complete -c quorvel-cli -n $search -l max-duration -x -d 'Leave out longer files'
complete -c quorvel-cli -n $search -l ext -x -a '+all +opus +oga +aiff +wv' -d 'Search files of these endings, too'
complete -c quorvel-cli -n $search -l exclude -x -d 'Leave out files and folders of this name or path'
complete -c quorvel-cli -n $search -s j -l jobs -x -d 'The number of threads'
complete -c quorvel-cli -n $search -s f -l format -x -a 'tree json csv' -d 'The output format'
complete -c quorvel-cli -n $search -s o -l output -r -F -d 'Write to this file'
complete -c quorvel-cli -n $search -l pairs -d 'List every pair, not each file once'
complete -c quorvel-cli -n $search -l keep -x -a '(__fish_append , complete lossless sample-rate bit-rate size oldest under=)' -d 'Put the file to keep above those like it'
complete -c quorvel-cli -n $search -l store -r -F -d 'Keep fingerprints in this file'
complete -c quorvel-cli -n $search -l parts -d 'List what files have in common at any place, too'
complete -c quorvel-cli -n $search -l min-length -x -d 'The length of the shortest such part'
complete -c quorvel-cli -n $search -l forget -d 'Take files that are gone out of the store'
complete -c quorvel-cli -n $search -l trust-store -d 'Compare what the store holds, not the files'
complete -c quorvel-cli -n $search -l version -d 'Show the version'

complete -c quorvel-cli -n $fingerprint -l store -r -F -d 'Keep fingerprints in this file'
complete -c quorvel-cli -n $fingerprint -l shard -x -d 'Take only shard K of N'
complete -c quorvel-cli -n $fingerprint -l ext -x -a '+all +opus +oga +aiff +wv' -d 'Search files of these endings, too'
complete -c quorvel-cli -n $fingerprint -l exclude -x -d 'Leave out files and folders of this name or path'
complete -c quorvel-cli -n $fingerprint -s j -l jobs -x -d 'The number of threads'

complete -c quorvel-cli -n $merge -l into -r -F -d 'The store to merge into'

complete -c quorvel-cli -n $apply -l move-to -x -a '(__fish_complete_directories)' -d 'Move the duplicates below this folder'
complete -c quorvel-cli -n $apply -l yes -d 'Move them, not only show what would be done'
complete -c quorvel-cli -n $apply -l min-similarity -x -d 'Leave pairs below this alone'
complete -c quorvel-cli -n $apply -l even-short -d 'Move files under 30 seconds, too'
complete -c quorvel-cli -n $apply -l even-featureless -d 'Move files without anything to hear, too'
complete -c quorvel-cli -n $apply -l even-partial -d 'Move duplicates of a partial file, too'
complete -c quorvel-cli -n $apply -l journal -r -F -d 'Note each move in this file'

complete -c quorvel-cli -s q -l quiet -d 'Show no progress'
complete -c quorvel-cli -s v -l verbose -d 'Print what failed, was skipped or was moved'
complete -c quorvel-cli -s h -l help -d 'Show the help'
