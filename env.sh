big1(){ W=$(xdotool search --onlyvisible --name '^Kymora' | head -1); xdotool windowsize $W 1296 840; xdotool windowmove $W 0 20; sleep 1; }
