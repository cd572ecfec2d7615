# Codecs and containers of pictures and video, cameras, and what opens windows; GLUT alone may.
media='opencv_(imgcodecs|videoio|highgui|gapi)|png|jpeg|turbojpeg|tiff|webp|openjp2|OpenEXR|IlmImf|Imath|gif|heif|gdal'
media+='|avcodec|avformat|avutil|avfilter|swscale|swresample|gst[a-z]+|vpx|x26[45]|dav1d|v4l[12]|dc1394'
media+='|Qt[0-9]\w*|gtk|gdk|SDL[0-9]?|glfw|wx_\w+|fltk'
