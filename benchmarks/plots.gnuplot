# Plots the data written by torvy-measure: gnuplot -e "data='FOLDER'; plots='FOLDER'" plots.gnuplot
set terminal svg size 720,420 font "sans-serif,13" background "white"
set grid
set key bottom right

set output plots."/latency.svg"
set title "One command over TCP: share answered within a given time"
set xlabel "microseconds"
set ylabel "percent"
stats data."/latency.data" index 0 using 1 nooutput
set xrange [0:3 * STATS_median]
plot for [i=0:2] data."/latency.data" index i using 1:2 with lines linewidth 2 title columnheader(1)

set output plots."/stream.svg"
set title "A stream of commands over TCP: time by length"
set xlabel "commands"
set ylabel "milliseconds"
set xrange [0:*]
set yrange [0:*]
plot data."/stream.data" using 1:2:3:4 with yerrorlines linewidth 2 title "torvy-driver: median, fastest and slowest of 7"
