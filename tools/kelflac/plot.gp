# Draws a stream. The text before this script sets `name`, the numbers `stated` and `end` (s) and
# `most` (bytes), and the data blocks
#   $frames    two lines a frame: start and size, end and size (s, bytes); an empty line is a gap
#   $landings  time asked for, the frame's time, its size, its time minus the time asked for
#   $failures  times asked for where no frame was found
set terminal svg size 1200,800 background 'white' noenhanced
set encoding utf8
# Colours that the colour-blind tell apart; lines and points differ in shape too.
set style line 1 linecolor rgb '#0072B2'
set style line 2 linecolor rgb '#000000' dashtype 2
set style line 3 linecolor rgb '#D55E00' pointtype 7 pointsize 0.7
set style line 4 linecolor rgb '#000000' pointtype 2 pointsize 1.4 linewidth 2
set multiplot layout 2,1
set lmargin 12
set rmargin 3
set key outside bottom center horizontal
set xlabel 'Time (s)'
set xrange [0:end]
if (end > stated + 0.001) {
    set object 1 rectangle from stated,graph 0 to end,graph 1 behind fillcolor rgb '#E0E0E0' fillstyle solid noborder
    set label 1 'past the stated end' at end,graph 0.06 right offset -1,0
}

set title name
set ylabel 'Frame size (bytes)'
set yrange [0:*]
plot $frames with lines linestyle 1 title 'Frames', \
     most with lines linestyle 2 title 'Stated or assumed maximum', \
     $landings using 2:3 with points linestyle 3 title 'Frames that seeks land on', \
     $failures using 1:(0) with points linestyle 4 title 'Seeks that find no frame'

unset title
set ylabel 'Frame time minus time asked for (s)'
set yrange [*:*]
plot 0 with lines linestyle 2 notitle, \
     $landings using 1:4 with impulses linestyle 3 notitle, \
     $landings using 1:4 with points linestyle 3 title 'Frame landed on, at the time asked for', \
     $failures using 1:(0) with points linestyle 4 title 'No frame'
