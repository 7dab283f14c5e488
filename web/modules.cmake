# The sources of the page, in the order in which they become one script and one style sheet: each after those that it needs when
# it is loaded. Names on the top level of a module are unique among all modules, because they share one scope.
set(TRAMOSTREAM_PAGE_SCRIPTS
    texts_en texts_fr texts elements visible marks numbers clipboard measure data scope bars heat estimate agents history answers
    verdict fit order grid mapshapes mapinput map parts raw search columns columnmenu card detail_lines detail_radio
    detail_position detail finding diagnosis findings overview brought meters print app start)
set(TRAMOSTREAM_PAGE_STYLES base frame overview grid meters map detail findings brought narrow print)
